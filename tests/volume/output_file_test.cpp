#include "tests/support/scratch_files.h"
#include "volume/OutputFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using tonalign::OutputFile;
using tonalign::test::read_file;
using tonalign::test::write_file;

class OutputFileTest : public ::testing::Test
{
protected:
    std::string path(const char* name) const { return m_directory.path() / name; }

    std::set<std::string> names() const
    {
        std::set<std::string> result;
        for (const fs::directory_entry& entry : fs::directory_iterator(m_directory.path())) {
            result.insert(entry.path().filename());
        }
        return result;
    }

    mode_t mode(const char* name) const
    {
        struct stat status = {};
        EXPECT_EQ(::stat(path(name).c_str(), &status), 0);
        return status.st_mode & 07777;
    }

    void save(const char* name, const char* text) const
    {
        OutputFile file(path(name));
        file.begin() << text;
        EXPECT_TRUE(file.keep());
    }

private:
    tonalign::test::TemporaryDirectory m_directory;
};

/// A strict or open umask for as long as it lives.
class Umask
{
public:
    explicit Umask(mode_t mask) : m_before(::umask(mask)) {}
    ~Umask() { ::umask(m_before); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    mode_t m_before;
};

TEST_F(OutputFileTest, ChangesNothingUnderItsNameUntilItIsKept)
{
    write_file(path("old"), "old");
    for (const char* name : {"old", "new"}) {
        const std::set<std::string> before = names();
        OutputFile given_up(path(name));
        given_up.begin() << "half of it" << std::flush;
        EXPECT_EQ(names().size(), before.size() + 1);
        EXPECT_EQ(read_file(path("old")), "old");
        given_up.discard();
        EXPECT_EQ(names(), before);
        {
            OutputFile forgotten(path(name));
            forgotten.begin() << "half of it";
        }
        EXPECT_EQ(names(), before);
        EXPECT_EQ(read_file(path("old")), "old");
    }
    save("old", "whole");
    save("new", "whole too");
    EXPECT_EQ(read_file(path("old")), "whole");
    EXPECT_EQ(read_file(path("new")), "whole too");
    EXPECT_THAT(names(), ElementsAre("new", "old"));
}

TEST_F(OutputFileTest, HasThePermissionsOfADirectlyCreatedOrReplacedFile)
{
    for (const mode_t mask : {0022, 0077, 0002, 0222, 0777}) {
        const Umask umask(mask);
        save("new", "new");
        EXPECT_EQ(mode("new"), 0666 & ~mask);
        fs::remove(path("new"));
    }
    const Umask umask(0022);
    for (const mode_t old : {0600, 0664, 0755}) {
        write_file(path("old"), "old");
        ASSERT_EQ(::chmod(path("old").c_str(), old), 0);
        {
            OutputFile file(path("old"));
            file.begin() << "half" << std::flush;
            for (const std::string& name : names()) {
                EXPECT_EQ(mode(name.c_str()) & ~old, 0U) << name; // never more open than what it replaces
            }
            EXPECT_TRUE(file.keep());
        }
        EXPECT_EQ(mode("old"), old);
        fs::remove(path("old"));
    }
}

TEST_F(OutputFileTest, OpensSpecialFilesAndOpenOnesDirectly)
{
    // The name leads to a regular file here, but means the open one: it must be written, not replaced.
    write_file(path("open"), "old");
    std::FILE* const open = std::fopen(path("open").c_str(), "r");
    {
        OutputFile file("/proc/self/fd/" + std::to_string(::fileno(open)));
        file.begin() << "through";
        EXPECT_TRUE(file.keep());
    }
    EXPECT_EQ(std::fgetc(open), 't');
    std::fclose(open);

    OutputFile full("/dev/full");
    ASSERT_TRUE(full.opened());
    full.begin() << "lost";
    EXPECT_FALSE(full.keep());
}

TEST_F(OutputFileTest, IsNotOpenedWhereADirectOpenWouldFail)
{
    fs::create_directory(path("folder"));
    for (const std::string& name : {path("folder"), path("folder/"), path("none/file"), path("none/"),
                                    std::string(), path("") + std::string(300, 'n')}) {
        OutputFile file(name);
        EXPECT_FALSE(file.opened()) << name;
        EXPECT_FALSE(file.keep()) << name;
    }
    EXPECT_THAT(names(), ElementsAre("folder"));
}

TEST_F(OutputFileTest, LeavesAFileInPlaceThatCannotBeOpenedAgain)
{
    // So long a path that the system takes no longer one, as that of a temporary file beside it would be.
    constexpr std::size_t longest_folder = 4090;
    std::string folder = path("");
    while (folder.size() < longest_folder) {
        folder += std::string(std::min<std::size_t>(200, longest_folder - folder.size() - 1), 'n') + '/';
    }
    fs::create_directories(folder);
    const std::string name = folder + "old";
    write_file(name, "old");
    {
        OutputFile before(name);
        ASSERT_TRUE(before.inPlace());
        before.begin() << "whole";
        EXPECT_TRUE(before.keep());
    }
    EXPECT_EQ(read_file(name), "whole");
    OutputFile file(name);
    rlimit limit = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit none = {0, limit.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    file.begin() << "new";
    EXPECT_FALSE(file.keep());
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(read_file(name), "whole");
}

TEST_F(OutputFileTest, PairIsReplacedWholeOrNotAtAll)
{
    const auto save_pair = [this](const char* text, auto spoil) {
        OutputFile header(path("a.hdr"));
        OutputFile image(path("a.img"));
        header.begin() << text;
        image.begin() << text;
        EXPECT_TRUE(header.close() && image.close());
        spoil();
        const OutputFile* const failed = OutputFile::keepPair(header, image);
        return failed == nullptr ? "none" : failed == &image ? "image" : "header";
    };
    const auto nothing = [] {};
    // A folder cannot be renamed over the file that marks a name as taken, nor a file over a folder.
    const auto block = [this](const char* name) {
        fs::remove(path(name));
        fs::create_directory(path(name));
    };
    EXPECT_STREQ(save_pair("first", nothing), "none");
    EXPECT_STREQ(save_pair("second", nothing), "none");
    EXPECT_EQ(read_file(path("a.hdr")) + read_file(path("a.img")), "secondsecond");

    EXPECT_STREQ(save_pair("third", [&] { block("a.img"); }), "image");
    EXPECT_EQ(read_file(path("a.hdr")), "second");
    EXPECT_TRUE(fs::is_directory(path("a.img")));
    fs::remove(path("a.img"));
    write_file(path("a.img"), "second");
    EXPECT_STREQ(save_pair("third", [&] { block("a.hdr"); }), "header");
    EXPECT_EQ(read_file(path("a.img")), "second");
    EXPECT_THAT(names(), ElementsAre("a.hdr", "a.img"));
}

} // namespace
