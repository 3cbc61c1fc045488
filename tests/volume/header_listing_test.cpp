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

TEST(HeaderComparison, AndDifferencesAgreeThatTextsEndAtANulOrTheirField)
{
    const struct
    {
        void (*change)(AnalyzeHeader&);
        std::string line;
    } changes[] = {
        {[](AnalyzeHeader& h) { h.m_bImgNeedsByteSwap = true; }, ""},
        {[](AnalyzeHeader& h) { h.hk.db_name[17] = h.hist.exp_time[6] = 'x'; }, ""},
        {[](AnalyzeHeader& h) { h.hist.hist_un0[2] = '!'; },
         "hist.hist_un0 = xxx, rhs.hist.hist_un0 = xx!\n"},
    };
    const AnalyzeHeader plain = numbered_header(0, 'a');
    for (const auto& row : changes) {
        AnalyzeHeader changed = plain;
        row.change(changed);
        EXPECT_EQ(plain == changed, row.line.empty() ? 1 : 0) << row.line;
        EXPECT_EQ(plain != changed, row.line.empty() ? 0 : 1) << row.line;
        EXPECT_EQ(differences(plain, changed), key_heading + dimension_heading + history_heading + row.line);
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
