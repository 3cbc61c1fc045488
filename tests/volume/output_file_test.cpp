// SPDX-License-Identifier: BSD-3-Clause
// Files that take their names when they are whole; tests/faults tries them while the system fails.
#include "tests/volume/volume_test.h"
#include "volume/OutputFile.h"

namespace {

using namespace tonalign::test;
using tonalign::OutputFile;
using OutputFileTest = Folder;

TEST_F(OutputFileTest, ChangesNothingUnderItsNameUntilItIsKept)
{
    write_file("old", "old");
    for (const char* name : {"old", "new"}) {
        const auto before = fileCount();
        {
            OutputFile forgotten(name);
            ASSERT_TRUE(forgotten.begin());
            forgotten.stream() << "half of it" << std::flush;
            EXPECT_EQ(fileCount(), before + 1);
            EXPECT_EQ(read_file("old"), "old");
        }
        EXPECT_EQ(fileCount(), before);
        EXPECT_FALSE(OutputFile(name).keep()) << "it was never begun";
        OutputFile file(name);
        ASSERT_TRUE(file.begin());
        file.stream() << "whole";
        EXPECT_TRUE(file.keep());
        EXPECT_EQ(read_file(name), "whole");
        write_file("old", "old");
    }
    EXPECT_EQ(fileCount(), 2);
}

TEST_F(OutputFileTest, WritesThroughANameThatMeansAnOpenFile)
{
    write_file("open", "old");
    std::FILE* const open = std::fopen("open", "r");
    OutputFile file("/proc/self/fd/" + std::to_string(::fileno(open)));
    ASSERT_TRUE(file.begin());
    file.stream() << "through";
    EXPECT_TRUE(file.keep());
    EXPECT_EQ(std::fgetc(open), 't');
    std::fclose(open);
}

} // namespace
