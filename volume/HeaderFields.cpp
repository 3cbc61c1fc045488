// SPDX-License-Identifier: BSD-3-Clause
// The only enumeration of the header's fields.
#include "volume/HeaderFields.h"

#include "volume/classByteSwap.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tonalign {

namespace {

// Where a field stands in a report of differences: flush or indented by a blank, tight when no blank follows
// the right label. Neither order nor blanks are regular, and both are fixed: other programs read these
// reports.
constexpr DifferenceLine no_line = {0, false, false};

constexpr DifferenceLine flush(int place)
{
    return {place, false, true};
}

constexpr DifferenceLine flush_tight(int place)
{
    return {place, false, false};
}

constexpr DifferenceLine indented(int place)
{
    return {place, true, true};
}

constexpr DifferenceLine indented_tight(int place)
{
    return {place, true, false};
}

#define TONALIGN_FIELD(member, type, caption, difference)                                                    \
    HeaderField                                                                                              \
    {                                                                                                        \
#member, offsetof(dsr, member), FieldType::type, sizeof(dsr{}.member), caption, difference           \
    }

// The captions are fixed as well, spelling included.
constexpr std::array fields = {
    TONALIGN_FIELD(hk.sizeof_hdr, integer32, "Size of header", flush(1)),
    TONALIGN_FIELD(hk.data_type, text, "Header Key Data type", flush_tight(2)),
    TONALIGN_FIELD(hk.db_name, text, "Database name", flush(3)),
    TONALIGN_FIELD(hk.extents, integer32, "Extents", indented_tight(4)),
    TONALIGN_FIELD(hk.session_error, integer16, "Session error", indented_tight(5)),
    TONALIGN_FIELD(hk.regular, character, "Regular", indented_tight(6)),
    TONALIGN_FIELD(hk.hkey_un0, character, "Header Key un0", indented(7)),
    TONALIGN_FIELD(dime.dim[0], integer16, "Dim[0]", no_line),
    TONALIGN_FIELD(dime.dim[1], integer16, "Dim[1] (xsize)", indented(8)),
    TONALIGN_FIELD(dime.dim[2], integer16, "Dim[2] (ysize)", indented(9)),
    TONALIGN_FIELD(dime.dim[3], integer16, "Dim[3] (zsize)", indented(10)),
    TONALIGN_FIELD(dime.dim[4], integer16, "Dim[4]", indented(11)),
    TONALIGN_FIELD(dime.dim[5], integer16, "Dim[5]", no_line),
    TONALIGN_FIELD(dime.dim[6], integer16, "Dim[6]", no_line),
    TONALIGN_FIELD(dime.dim[7], integer16, "Dim[7]", no_line),
    TONALIGN_FIELD(dime.vox_units, text, "Voxel Units", no_line),
    TONALIGN_FIELD(dime.cal_units, text, "Calibration units", no_line),
    TONALIGN_FIELD(dime.unused1, integer16, "Unused1", no_line),
    TONALIGN_FIELD(dime.datatype, integer16, "Datatype", indented(16)),
    TONALIGN_FIELD(dime.bitpix, integer16, "Bitpix", indented(17)),
    TONALIGN_FIELD(dime.dim_un0, integer16, "Dim un0", no_line),
    TONALIGN_FIELD(dime.pixdim[0], float32, "Pixdim[0]", no_line),
    TONALIGN_FIELD(dime.pixdim[1], float32, "Pixdim[1] (voxel width)", indented(12)),
    TONALIGN_FIELD(dime.pixdim[2], float32, "Pixdim[2] (voxel height)", indented(13)),
    TONALIGN_FIELD(dime.pixdim[3], float32, "Pixdim[3] (interslice dst)", indented(14)),
    TONALIGN_FIELD(dime.pixdim[4], float32, "Pixdim[4]", indented(15)),
    TONALIGN_FIELD(dime.pixdim[5], float32, "Pixdim[5]", no_line),
    TONALIGN_FIELD(dime.pixdim[6], float32, "Pixdim[6]", no_line),
    TONALIGN_FIELD(dime.pixdim[7], float32, "Pixdim[7]", no_line),
    TONALIGN_FIELD(dime.vox_offset, float32, "Voxel offset", no_line),
    TONALIGN_FIELD(dime.roi_scale, float32, "ROI scale", no_line),
    TONALIGN_FIELD(dime.funused1, float32, "funused1", no_line),
    TONALIGN_FIELD(dime.funused2, float32, "funused2", no_line),
    TONALIGN_FIELD(dime.cal_max, float32, "Calibration max", indented(18)),
    TONALIGN_FIELD(dime.cal_min, float32, "Calibration min", indented(19)),
    TONALIGN_FIELD(dime.compressed, integer32, "Compressed", no_line),
    TONALIGN_FIELD(dime.verified, integer32, "Verified", no_line),
    TONALIGN_FIELD(dime.glmax, integer32, "Glmax", indented(20)),
    TONALIGN_FIELD(dime.glmin, integer32, "Glmin", indented(21)),
    TONALIGN_FIELD(hist.descrip, text, "Decription", flush(22)),
    TONALIGN_FIELD(hist.aux_file, text, "Aux file", flush(23)),
    TONALIGN_FIELD(hist.orient, character, "Orientation(0-T, 1-C, 2-S)", indented(24)),
    TONALIGN_FIELD(hist.originator, text, "Originator", flush(25)),
    TONALIGN_FIELD(hist.generated, text, "Generated", flush(26)),
    TONALIGN_FIELD(hist.scannum, text, "Scan number", flush(27)),
    TONALIGN_FIELD(hist.patient_id, text, "Patient ID", flush(28)),
    TONALIGN_FIELD(hist.exp_date, text, "Exp date", flush(29)),
    TONALIGN_FIELD(hist.exp_time, text, "Exp time", flush(30)),
    TONALIGN_FIELD(hist.hist_un0, text, "History", flush(31)),
    TONALIGN_FIELD(hist.views, integer32, "Views", indented(32)),
    TONALIGN_FIELD(hist.vols_added, integer32, "Vols added", indented(33)),
    TONALIGN_FIELD(hist.start_field, integer32, "Start field", indented(34)),
    TONALIGN_FIELD(hist.field_skip, integer32, "Field skip", indented(35)),
    TONALIGN_FIELD(hist.omax, integer32, "Omax", indented(36)),
    TONALIGN_FIELD(hist.omin, integer32, "Omin", indented(37)),
    TONALIGN_FIELD(hist.smax, integer32, "Smax", indented(38)),
    TONALIGN_FIELD(hist.smin, integer32, "Smin", indented(39)),
};

#undef TONALIGN_FIELD

/// The table misses nothing and lists nothing twice: the fields lie back to back over the whole record.
constexpr bool fields_cover_the_record()
{
    std::size_t next = 0;
    for (const HeaderField& field : fields) {
        if (field.offset != next) {
            return false;
        }
        next += field.size;
    }
    return next == header_size;
}
static_assert(fields_cover_the_record());

static_assert(std::ranges::all_of(fields, [](const HeaderField& field) {
    return std::string_view(field.caption).size() <= caption_width;
}));

constexpr std::size_t difference_line_count = [] {
    const auto has_line = [](const HeaderField& field) { return field.difference.place > 0; };
    return static_cast<std::size_t>(std::ranges::count_if(fields, has_line));
}();

/// The fields with a line, each at its place. A place beyond their number does not compile.
constexpr std::array difference_lines = [] {
    std::array<const HeaderField*, difference_line_count> lines{};
    for (const HeaderField& field : fields) {
        if (field.difference.place > 0) {
            lines.at(static_cast<std::size_t>(field.difference.place) - 1) = &field;
        }
    }
    return lines;
}();

static_assert(std::ranges::count(difference_lines, nullptr) == 0, "two fields share a place");

} // namespace

std::span<const HeaderField> header_fields()
{
    return fields;
}

std::span<const HeaderField* const> fields_by_difference_line()
{
    return difference_lines;
}

void swap_numeric_fields(dsr& record)
{
    auto* const bytes = reinterpret_cast<unsigned char*>(&record);
    for (const HeaderField& field : fields) {
        switch (field.type) {
        case FieldType::integer16:
            classByteSwap::BYTE_SWAP_SHORT(bytes + field.offset);
            break;
        case FieldType::integer32:
            classByteSwap::BYTE_SWAP_INT(bytes + field.offset);
            break;
        case FieldType::float32:
            classByteSwap::BYTE_SWAP_FLOAT(bytes + field.offset);
            break;
        case FieldType::text:
        case FieldType::character:
            break;
        }
    }
}

} // namespace tonalign
