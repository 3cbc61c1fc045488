#include "failure/end_process.h"
#include "failure/program.h"
#include "failure/unattended_run.h"
#include "tests/support/process_end.h"

namespace {

TEST(EndOfProcessDeathTest, OfAnotherProgramHasItsNameAndNeverTheStatusOfSuccess)
{
    const auto as_other = [](auto end) {
        return [end] {
            tonalign::act_as("other", 2);
            tonalign::enter_stage("reading");
            end();
        };
    };
    const auto refuse = [] { tonalign::refuse("scan: short"); };
    const auto end_with_success = [] {
        tonalign::end_process(std::cout, {" a text of", " old \n"}, tonalign::ExitStatus::success);
    };
    tonalign::test::expect_ends(
        {{refuse, 1, "tonalign: scan: short\n"},
         {end_with_success, 0, "[out] a text of old \n"},
         {as_other(refuse), 2, "other: scan: short\n"},
         {as_other(end_with_success), 2, "other: failed while reading\n[out] a text of old \n"}});
}

} // namespace
