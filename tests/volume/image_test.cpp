#include "tests/support/scratch_files.h"
#include "volume/Image.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

namespace {

using ::testing::HasSubstr;
using tonalign::test::from_hex;
using tonalign::test::read_file;
using tonalign::test::write_file;

/// What a piece of code wrote to standard output and standard error, and the result it gave.
struct Outcome
{
    int result;
    std::string out;
    std::string err;
};

template <typename Function>
Outcome captured(Function function)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int result = function();
    return {result, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
}

/// The bytes of a big-endian header of the defaults.
std::string big_endian_header(char width, char height, char depth)
{
    const auto zeros = [](std::size_t bytes) { return std::string(2 * bytes, '0'); };
    std::string bytes =
        from_hex("0000015c" + zeros(30) + "4000" + zeros(2) + "72" + zeros(2) + "04" + zeros(6) + "0001" +
                 zeros(6) + "20" + zeros(3) + "20" + zeros(9) + "00020008" + zeros(6) +
                 "3f8000003f8000003f800000" + zeros(51) + "ff" + zeros(204));
    bytes[43] = width;
    bytes[45] = height;
    bytes[47] = depth;
    return bytes;
}

std::ptrdiff_t voxel_count(const Image& image)
{
    return std::ptrdiff_t{image.nx} * image.ny * image.nz;
}

/// The voxels as numbers, which a failing test prints legibly.
std::vector<int> voxels_of(const Image& image)
{
    return {image.data, image.data + voxel_count(image)};
}

void number_voxels(Image& image)
{
    std::iota(image.data, image.data + voxel_count(image), u_char{3});
}

class ImageFiles : public testing::Test
{
protected:
    std::string path(const std::string& name) const { return m_directory.path() / name; }

private:
    tonalign::test::TemporaryDirectory m_directory;
};

TEST_F(ImageFiles, RoundTripKeepsVoxelsAndWritesTheHeaderBigEndian)
{
    Image saved(2, 3, 4);
    number_voxels(saved);
    EXPECT_EQ(saved.needs_saving, 1);
    const Outcome saving = captured([&] { return saved.Save(path("scan.img").c_str()); });
    EXPECT_EQ(saving.result, 1);
    EXPECT_EQ(saving.out + saving.err, "");
    EXPECT_EQ(saved.needs_saving, 0);
    EXPECT_EQ(saved.hdr->hk.sizeof_hdr, 348);
    EXPECT_EQ(read_file(path("scan.hdr")), big_endian_header(2, 3, 4));
    EXPECT_EQ(read_file(path("scan.img")), std::string(saved.data, saved.data + 24));

    std::unique_ptr<Image> loaded;
    const Outcome loading = captured([&] {
        loaded = std::make_unique<Image>(path("scan").c_str());
        return 1;
    });
    EXPECT_EQ(loading.out, " Header for " + path("scan.hdr") + " was byte_swapped during loading \n");
    EXPECT_EQ(voxels_of(*loaded), voxels_of(saved));
    EXPECT_EQ(loaded->GetValue(1, 2, 3), 3 + 23);
    EXPECT_EQ(loaded->Filename(), path("scan"));
    EXPECT_EQ(loaded->needs_saving, 0);
    EXPECT_EQ(loaded->curmin, 3);
    EXPECT_EQ(loaded->curmax, 26);

    // The name as given is what counts: neither "scan" nor what is derived from it.
    EXPECT_EQ(captured([&] { return loaded->Save(path("scan").c_str()); }).out, "");
    EXPECT_EQ(captured([&] { return loaded->Save(path("scan.img").c_str()); }).out, "File exists!");
}

TEST_F(ImageFiles, LoadingReplacesABufferTooSmallAndReusesOneLargeEnough)
{
    Image large(4, 4, 4);
    number_voxels(large);
    Image small(1, 2, 1);
    number_voxels(small);
    captured([&] { return large.Save(path("large").c_str()) + small.Save(path("small").c_str()); });

    Image image(2, 1, 1);
    image.ConstructAnalyzeNames(path("large").c_str());
    EXPECT_EQ(captured([&] { return image.ReadAnalyzeHeader(); }).result, 1);
    EXPECT_EQ(image.data, nullptr);
    EXPECT_EQ(captured([&] { return image.Load(path("large").c_str()); }).result, 1);
    EXPECT_EQ(voxels_of(image), voxels_of(large));
    EXPECT_EQ(image.needs_saving, 0);
    const u_char* const buffer = image.data;
    EXPECT_EQ(captured([&] { return image.Load(path("small").c_str()); }).result, 1);
    EXPECT_EQ(voxels_of(image), (std::vector<int>{3, 4}));
    EXPECT_EQ(image.data, buffer);
}

struct BadPair
{
    const char* what;
    std::string header;
    const char* voxels; ///< null for no file
    const char* out;    ///< behind the line on the byte order
    const char* err;    ///< part of the line on standard error, "" for none
    bool header_taken;
};

std::string with_bytes(std::string bytes, std::size_t offset, const char* replacement)
{
    return bytes.replace(offset, 2, replacement, 2);
}

TEST_F(ImageFiles, BadPairsAreRefusedAndLeaveAnImageThatIsSafeToUse)
{
    const std::string good = big_endian_header(2, 2, 2);
    const BadPair pairs[] = {
        {"no header", "", "12345678", "Error: cannot open header file", "", false},
        {"short header", good.substr(0, 347), "12345678", "Error", "", false},
        {"16-bit voxels", with_bytes(good, 70, "\0\4"), "12345678", "", "image not u_char\n", false},
        {"a negative size", with_bytes(good, 46, "\xFF\xFE"), "12345678", "", "2 x 2 x -2", false},
        {"no voxel file", good, nullptr, "Error: cannot open image file", "", true},
        {"a byte short", good, "1234567", "Error", "holds 7 bytes, but its header needs 8", true},
        {"sizes beyond any memory",
         with_bytes(with_bytes(with_bytes(good, 42, "\x7F\xFF"), 44, "\x7F\xFF"), 46, "\x7F\xFF"), "12345678",
         "Error", "needs 35181150961663", true},
    };
    for (const BadPair& pair : pairs) {
        SCOPED_TRACE(pair.what);
        std::filesystem::remove(path("bad.hdr"));
        std::filesystem::remove(path("bad.img"));
        if (!pair.header.empty()) {
            write_file(path("bad.hdr"), pair.header);
        }
        if (pair.voxels != nullptr) {
            write_file(path("bad.img"), pair.voxels);
        }
        Image image(3, 1, 1);
        number_voxels(image);
        const Outcome loading = captured([&] { return image.Load(path("bad").c_str()); });
        EXPECT_EQ(loading.result, 0);
        const bool swapped = pair.header.size() == 348;
        EXPECT_EQ(loading.out,
                  (swapped ? " Header for " + path("bad.hdr") + " was byte_swapped during loading \n" : "") +
                      pair.out);
        EXPECT_THAT(loading.err, HasSubstr(pair.err));
        EXPECT_EQ(loading.err.empty(), *pair.err == '\0');

        EXPECT_EQ(image.data == nullptr, pair.header_taken);
        EXPECT_EQ(image.hdr->dime.dim[1], image.nx);
        EXPECT_EQ(image.GetValue(1, 0, 0), pair.header_taken ? 0 : 4);
        image.Pad();
        const std::unique_ptr<Image> copy(image.Copy());
        EXPECT_EQ(copy->data == nullptr, pair.header_taken);
        const Outcome saving = captured([&] { return image.Save(path("bad").c_str()); });
        EXPECT_EQ(saving.result, pair.header_taken ? 0 : 1);
        EXPECT_EQ(saving.err.empty(), !pair.header_taken);
    }
}

TEST_F(ImageFiles, HeaderOfNoByteOrderEndsTheProcess)
{
    write_file(path("odd.hdr"), std::string(348, '\1'));
    EXPECT_EXIT(Image image(path("odd").c_str()), testing::ExitedWithCode(0),
                "^ Header unreadable even after byte_swapping \n$");
}

TEST_F(ImageFiles, NativeHeaderLoadsSilentlyAndOnlyBadSpacingsBecomeOne)
{
    Image source(1, 1, 1);
    const float spacings[] = {0.0F, 0.25F, -2.0F};
    std::copy_n(spacings, 3, source.hdr->dime.pixdim + 1);
    write_file(path("native.hdr"),
               {reinterpret_cast<const char*>(source.hdr), reinterpret_cast<const char*>(source.hdr + 1)});
    write_file(path("native.img"), "\xC8");
    Image image;
    const Outcome loading = captured([&] { return image.Load(path("native.hdr").c_str()); });
    EXPECT_EQ(loading.result, 1);
    EXPECT_EQ(loading.out + loading.err, "");
    EXPECT_EQ(std::vector(image.hdr->dime.pixdim + 1, image.hdr->dime.pixdim + 4),
              (std::vector{1.0F, 0.25F, 1.0F}));
}

TEST_F(ImageFiles, FailedWritesAreReportedAndAnImageWithoutAHeaderGetsOne)
{
    Image empty;
    EXPECT_EQ(captured([&] { return empty.Save(path("empty").c_str()); }).result, 1);
    EXPECT_EQ(read_file(path("empty.hdr")), big_endian_header(0, 0, 0));
    EXPECT_EQ(std::filesystem::file_size(path("empty.img")), 0U);
    Image loaded(1, 1, 1);
    EXPECT_EQ(captured([&] { return loaded.Load(path("empty").c_str()); }).result, 1);
    EXPECT_EQ(loaded.nx + loaded.ny + loaded.nz, 0);
    EXPECT_EQ(loaded.curmax, 255);

    Image image(1, 1, 1);
    EXPECT_EQ(captured([&] { return image.Save(path("missing/x").c_str()); }).out,
              "Error: cannot save header file");
    std::filesystem::create_directory(path("x.img"));
    EXPECT_EQ(captured([&] { return image.Save(path("x").c_str()); }).out, "Error: cannot save image file");
    for (const char* full : {"a.hdr", "b.img"}) {
        std::filesystem::create_symlink("/dev/full", path(full));
        const Outcome saving =
            captured([&] { return image.Save(path(full).substr(0, path(full).size() - 4).c_str()); });
        EXPECT_EQ(saving.result, 0) << full;
        EXPECT_EQ(saving.out, "Error") << full;
    }
    EXPECT_EQ(image.needs_saving, 1);

    Image wide(40000, 1, 1);
    EXPECT_THAT(captured([&] { return wide.Save(path("wide").c_str()); }).err,
                HasSubstr("sizes up to 32767"));
    EXPECT_EQ(Image::FileExists(path("wide.hdr").c_str()), 0);
}

TEST(ImageNames, LoseAnExtensionAndAreRefusedWhenTooLong)
{
    Image image;
    const std::pair<std::string, std::string> names[] = {
        {"brain", "brain"},     {"brain.img", "brain"},
        {"brain.hdr", "brain"}, {"b.imx", "b"},
        {".img", ".img"},       {"brain.IMG", "brain.IMG"},
        {"im.gz", "im.gz"},     {std::string(4091, 'n') + ".hdr", std::string(4091, 'n')},
    };
    for (const auto& [given, base] : names) {
        EXPECT_EQ(image.ConstructAnalyzeNames(given.c_str()), 1);
        EXPECT_EQ(image.Filename(), base);
    }
    const std::string long_name(4092, 'n');
    image.ConstructAnalyzeNames("before");
    for (const auto& call : {&Image::Load, &Image::Save}) {
        const Outcome refusal = captured([&] { return (image.*call)(long_name.c_str()); });
        EXPECT_EQ(refusal.result, 0);
        EXPECT_EQ(refusal.out, "");
        EXPECT_EQ(refusal.err, "an image name of 4092 characters is too long, at most 4091 are possible\n");
        EXPECT_STREQ(image.filename, "before");
    }
}

TEST(ImageVoxels, PadCopyAndExtremesFollowTheVoxels)
{
    Image image(2, 3, 2);
    number_voxels(image);
    image.Plot(1, 2, 1, 200);
    EXPECT_EQ(image.GetValue(-1, 0, 0) + image.GetValue(2, 0, 0) + image.GetValue(0, 3, 0) +
                  image.GetValue(0, 0, -1),
              0);
    image.UpdateAnalyzeHeader();
    EXPECT_EQ(image.hdr->dime.glmin, 3);
    EXPECT_EQ(image.hdr->dime.glmax, 200);

    const std::unique_ptr<Image> before(image.Copy());
    image.Pad();
    EXPECT_EQ(image.hdr->dime.dim[1], 2);
    image.UpdateAnalyzeHeader();
    EXPECT_EQ(image.hdr->dime.glmin, 0);
    ASSERT_EQ(image.hdr->dime.dim[2], 5);
    for (int z = 0; z < 4; ++z) {
        for (int y = 0; y < 5; ++y) {
            for (int x = 0; x < 4; ++x) {
                EXPECT_EQ(image.GetValue(x, y, z), before->GetValue(x - 1, y - 1, z - 1));
            }
        }
    }
    EXPECT_EQ(before->hdr->dime.glmax, 200);
    EXPECT_EQ(before->needs_saving, 1);

    u_char least = 9;
    u_char greatest = 9;
    Image().MinMax(least, greatest);
    EXPECT_EQ(least, 0);
    EXPECT_EQ(greatest, 255);

    const Outcome refusal = captured([] { return Image(2, -1, 2).Nx(); });
    EXPECT_EQ(refusal.result, 0);
    EXPECT_EQ(refusal.err, "an image cannot have 2 x -1 x 2 voxels\n");
    EXPECT_NE(captured([] { return Image(1 << 30, 1 << 30, 1 << 30).Nx(); }).err, "");
}

} // namespace
