#include "volume/AnalyzeHeader.h"
#include "volume/HeaderFields.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>

namespace {

const std::string key_heading = " Comparing struct header_key for the given files \n";
const std::string dimension_heading = " Comparing struct image_dimensions  for the given files \n";
const std::string memory_line = " Struct image_dimension is different from memory compare \n";
const std::string history_heading = " Comparing struct history for the given files \n";

template <typename Value>
void store(void* place, Value value)
{
    std::memcpy(place, &value, sizeof value);
}

/// A header in which every field holds something of its own: numbers its place in the file plus `base`
/// (floats a half more), texts and characters a letter. Short texts fill their field, without a NUL.
AnalyzeHeader numbered_header(int base, char first_letter)
{
    dsr record = {};
    int place = 0;
    for (const tonalign::HeaderField& field : tonalign::header_fields()) {
        ++place;
        char* const bytes = reinterpret_cast<char*>(&record) + field.offset;
        switch (field.type) {
        case tonalign::FieldType::integer16:
            store(bytes, static_cast<std::int16_t>(base + place));
            break;
        case tonalign::FieldType::integer32:
            store(bytes, std::int32_t{base + place});
            break;
        case tonalign::FieldType::float32:
            store(bytes, static_cast<float>(base + place) + 0.5F);
            break;
        case tonalign::FieldType::text:
        case tonalign::FieldType::character:
            std::fill_n(bytes, std::min<std::size_t>(field.size, 4),
                        static_cast<char>(first_letter + place % 26));
            break;
        }
    }
    AnalyzeHeader header;
    header.hk = record.hk;
    header.dime = record.dime;
    header.hist = record.hist;
    return header;
}

std::string differences(const AnalyzeHeader& left, const AnalyzeHeader& right)
{
    std::ostringstream os;
    left.diff(right, os);
    return os.str();
}

TEST(HeaderListing, GivesEveryFieldItsCaptionInFileOrder)
{
    std::ostringstream os;
    numbered_header(0, 'a').print(os);
    EXPECT_EQ(os.str(), R"(Size of header             : 1
Header Key Data type       : cccc
Database name              : dddd
Extents                    : 4
Session error              : 5
Regular                    : 103
Header Key un0             : 104
Dim[0]                     : 8
Dim[1] (xsize)             : 9
Dim[2] (ysize)             : 10
Dim[3] (zsize)             : 11
Dim[4]                     : 12
Dim[5]                     : 13
Dim[6]                     : 14
Dim[7]                     : 15
Voxel Units                : qqqq
Calibration units          : rrrr
Unused1                    : 18
Datatype                   : 19
Bitpix                     : 20
Dim un0                    : 21
Pixdim[0]                  : 22.5
Pixdim[1] (voxel width)    : 23.5
Pixdim[2] (voxel height)   : 24.5
Pixdim[3] (interslice dst) : 25.5
Pixdim[4]                  : 26.5
Pixdim[5]                  : 27.5
Pixdim[6]                  : 28.5
Pixdim[7]                  : 29.5
Voxel offset               : 30.5
ROI scale                  : 31.5
funused1                   : 32.5
funused2                   : 33.5
Calibration max            : 34.5
Calibration min            : 35.5
Compressed                 : 36
Verified                   : 37
Glmax                      : 38
Glmin                      : 39
Decription                 : oooo
Aux file                   : pppp
Orientation(0-T, 1-C, 2-S) : 113
Originator                 : rrrr
Generated                  : ssss
Scan number                : tttt
Patient ID                 : uuuu
Exp date                   : vvvv
Exp time                   : wwww
History                    : xxx
Views                      : 50
Vols added                 : 51
Start field                : 52
Field skip                 : 53
Omax                       : 54
Omin                       : 55
Smax                       : 56
Smin                       : 57
)");
}

TEST(HeaderDifferences, ListBothValuesOfEveryFieldThatHasALine)
{
    EXPECT_EQ(differences(numbered_header(0, 'a'), numbered_header(100, 'A')),
              key_heading + R"(hk.sizeof_hdr = 1, rhs.hk.sizeof_hdr = 101
hk.data_type = cccc, rhs.hk.data_type =CCCC
hk.db_name = dddd, rhs.hk.db_name = DDDD
 hk.extents = 4, rhs.hk.extents =104
 hk.session_error = 5, rhs.hk.session_error =105
 hk.regular = g, rhs.hk.regular =G
 hk.hkey_un0 = h, rhs.hk.hkey_un0 = H
)" + dimension_heading +
                  memory_line +
                  R"( dime.dim[1] = 9, rhs.dime.dim[1] = 109
 dime.dim[2] = 10, rhs.dime.dim[2] = 110
 dime.dim[3] = 11, rhs.dime.dim[3] = 111
 dime.dim[4] = 12, rhs.dime.dim[4] = 112
 dime.pixdim[1] = 23.5, rhs.dime.pixdim[1] = 123.5
 dime.pixdim[2] = 24.5, rhs.dime.pixdim[2] = 124.5
 dime.pixdim[3] = 25.5, rhs.dime.pixdim[3] = 125.5
 dime.pixdim[4] = 26.5, rhs.dime.pixdim[4] = 126.5
 dime.datatype = 19, rhs.dime.datatype = 119
 dime.bitpix = 20, rhs.dime.bitpix = 120
 dime.cal_max = 34.5, rhs.dime.cal_max = 134.5
 dime.cal_min = 35.5, rhs.dime.cal_min = 135.5
 dime.glmax = 38, rhs.dime.glmax = 138
 dime.glmin = 39, rhs.dime.glmin = 139
)" + history_heading +
                  R"(hist.descrip = oooo, rhs.hist.descrip = OOOO
hist.aux_file = pppp, rhs.hist.aux_file = PPPP
 hist.orient = q, rhs.hist.orient = Q
hist.originator = rrrr, rhs.hist.originator = RRRR
hist.generated = ssss, rhs.hist.generated = SSSS
hist.scannum = tttt, rhs.hist.scannum = TTTT
hist.patient_id = uuuu, rhs.hist.patient_id = UUUU
hist.exp_date = vvvv, rhs.hist.exp_date = VVVV
hist.exp_time = wwww, rhs.hist.exp_time = WWWW
hist.hist_un0 = xxx, rhs.hist.hist_un0 = XXX
 hist.views = 50, rhs.hist.views = 150
 hist.vols_added = 51, rhs.hist.vols_added = 151
 hist.start_field = 52, rhs.hist.start_field = 152
 hist.field_skip = 53, rhs.hist.field_skip = 153
 hist.omax = 54, rhs.hist.omax = 154
 hist.omin = 55, rhs.hist.omin = 155
 hist.smax = 56, rhs.hist.smax = 156
 hist.smin = 57, rhs.hist.smin = 157
)");
}

struct HeaderChange
{
    const char* what;
    void (*change)(AnalyzeHeader&);
    std::string lines_after[3]; ///< in each section, below its heading
};

TEST(HeaderComparison, AndDifferencesAgreeOnWhatCounts)
{
    const HeaderChange changes[] = {
        {"nothing", [](AnalyzeHeader&) {}, {}},
        {"the flag", [](AnalyzeHeader& h) { h.m_bImgNeedsByteSwap = true; }, {}},
        {"bytes behind a NUL", [](AnalyzeHeader& h) { h.hk.db_name[17] = h.hist.exp_time[6] = 'x'; }, {}},
        {"the last byte of a full text",
         [](AnalyzeHeader& h) { h.hist.hist_un0[2] = '!'; },
         {"", "", "hist.hist_un0 = xxx, rhs.hist.hist_un0 = xx!\n"}},
        {"a character",
         [](AnalyzeHeader& h) { h.hk.regular = 'x'; },
         {" hk.regular = g, rhs.hk.regular =x\n", "", ""}},
        {"a dimension field without a line",
         [](AnalyzeHeader& h) { h.dime.vox_offset = 1.0F; },
         {"", memory_line, ""}},
        {"the last field",
         [](AnalyzeHeader& h) { h.hist.smin = -1; },
         {"", "", " hist.smin = 57, rhs.hist.smin = -1\n"}}};
    const AnalyzeHeader plain = numbered_header(0, 'a');
    for (const HeaderChange& row : changes) {
        AnalyzeHeader changed = plain;
        row.change(changed);
        const std::string lines = row.lines_after[0] + row.lines_after[1] + row.lines_after[2];
        EXPECT_EQ(plain == changed, lines.empty() ? 1 : 0) << row.what;
        EXPECT_EQ(plain != changed, lines.empty() ? 0 : 1) << row.what;
        EXPECT_EQ(differences(plain, changed), key_heading + row.lines_after[0] + dimension_heading +
                                                   row.lines_after[1] + history_heading + row.lines_after[2])
            << row.what;
    }
}

TEST(HeaderComparison, TakesDimensionsAsMemoryAndTheirDifferencesAsValues)
{
    AnalyzeHeader positive;
    AnalyzeHeader negative;
    negative.dime.cal_max = -0.0F;
    EXPECT_EQ(positive == negative, 0);
    EXPECT_EQ(differences(positive, negative),
              key_heading + dimension_heading + memory_line + history_heading);

    AnalyzeHeader nan;
    nan.dime.pixdim[1] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(nan == AnalyzeHeader(nan), 1);
    EXPECT_EQ(differences(nan, nan), key_heading + dimension_heading +
                                         " dime.pixdim[1] = nan, rhs.dime.pixdim[1] = nan\n" +
                                         history_heading);
}

} // namespace
