#include "tests/support/scratch_files.h"
#include "volume/OutputFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using tonalign::OutputFile;
using tonalign::test::read_file;
using tonalign::test::write_file;

// What becomes of files when the system fails is tried on whole programs, in tests/faults.

class OutputFileTest : public ::testing::Test
{
protected:
    std::string path(const std::string& name) const { return m_directory.path() / name; }

    std::set<std::string> names() const
    {
        std::set<std::string> result;
        for (const fs::directory_entry& entry : fs::directory_iterator(m_directory.path())) {
            result.insert(entry.path().filename());
        }
        return result;
    }

private:
    tonalign::test::TemporaryDirectory m_directory;
};

TEST_F(OutputFileTest, ChangesNothingUnderItsNameUntilItIsKept)
{
    write_file(path("old"), "old");
    for (const char* name : {"old", "new"}) {
        const std::set<std::string> before = names();
        {
            OutputFile forgotten(path(name));
            ASSERT_TRUE(forgotten.begin());
            forgotten.stream() << "half of it" << std::flush;
            EXPECT_EQ(names().size(), before.size() + 1);
            EXPECT_EQ(read_file(path("old")), "old");
        }
        EXPECT_EQ(names(), before);
        OutputFile kept(path(name));
        EXPECT_FALSE(kept.keep()) << "it was never begun";
        OutputFile file(path(name));
        ASSERT_TRUE(file.begin());
        file.stream() << "whole";
        EXPECT_TRUE(file.keep());
        EXPECT_EQ(read_file(path(name)), "whole");
        write_file(path("old"), "old");
    }
    EXPECT_THAT(names(), ElementsAre("new", "old"));
}

TEST_F(OutputFileTest, WritesThroughANameThatMeansAnOpenFile)
{
    write_file(path("open"), "old");
    std::FILE* const open = std::fopen(path("open").c_str(), "r");
    OutputFile file("/proc/self/fd/" + std::to_string(::fileno(open)));
    ASSERT_TRUE(file.begin());
    file.stream() << "through";
    EXPECT_TRUE(file.keep());
    EXPECT_EQ(std::fgetc(open), 't');
    std::fclose(open);
}

} // namespace
