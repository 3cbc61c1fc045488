#include "volume/HeaderFields.h"

#include "volume/classByteSwap.h"

#include <array>

namespace tonalign {

namespace {

#define TONALIGN_FIELD(member, type)                                                                         \
    HeaderField                                                                                              \
    {                                                                                                        \
#member, offsetof(dsr, member), FieldType::type, sizeof(dsr{}.member)                                \
    }

constexpr std::array fields = {
    TONALIGN_FIELD(hk.sizeof_hdr, integer32),
    TONALIGN_FIELD(hk.data_type, text),
    TONALIGN_FIELD(hk.db_name, text),
    TONALIGN_FIELD(hk.extents, integer32),
    TONALIGN_FIELD(hk.session_error, integer16),
    TONALIGN_FIELD(hk.regular, character),
    TONALIGN_FIELD(hk.hkey_un0, character),
    TONALIGN_FIELD(dime.dim[0], integer16),
    TONALIGN_FIELD(dime.dim[1], integer16),
    TONALIGN_FIELD(dime.dim[2], integer16),
    TONALIGN_FIELD(dime.dim[3], integer16),
    TONALIGN_FIELD(dime.dim[4], integer16),
    TONALIGN_FIELD(dime.dim[5], integer16),
    TONALIGN_FIELD(dime.dim[6], integer16),
    TONALIGN_FIELD(dime.dim[7], integer16),
    TONALIGN_FIELD(dime.vox_units, text),
    TONALIGN_FIELD(dime.cal_units, text),
    TONALIGN_FIELD(dime.unused1, integer16),
    TONALIGN_FIELD(dime.datatype, integer16),
    TONALIGN_FIELD(dime.bitpix, integer16),
    TONALIGN_FIELD(dime.dim_un0, integer16),
    TONALIGN_FIELD(dime.pixdim[0], float32),
    TONALIGN_FIELD(dime.pixdim[1], float32),
    TONALIGN_FIELD(dime.pixdim[2], float32),
    TONALIGN_FIELD(dime.pixdim[3], float32),
    TONALIGN_FIELD(dime.pixdim[4], float32),
    TONALIGN_FIELD(dime.pixdim[5], float32),
    TONALIGN_FIELD(dime.pixdim[6], float32),
    TONALIGN_FIELD(dime.pixdim[7], float32),
    TONALIGN_FIELD(dime.vox_offset, float32),
    TONALIGN_FIELD(dime.roi_scale, float32),
    TONALIGN_FIELD(dime.funused1, float32),
    TONALIGN_FIELD(dime.funused2, float32),
    TONALIGN_FIELD(dime.cal_max, float32),
    TONALIGN_FIELD(dime.cal_min, float32),
    TONALIGN_FIELD(dime.compressed, integer32),
    TONALIGN_FIELD(dime.verified, integer32),
    TONALIGN_FIELD(dime.glmax, integer32),
    TONALIGN_FIELD(dime.glmin, integer32),
    TONALIGN_FIELD(hist.descrip, text),
    TONALIGN_FIELD(hist.aux_file, text),
    TONALIGN_FIELD(hist.orient, character),
    TONALIGN_FIELD(hist.originator, text),
    TONALIGN_FIELD(hist.generated, text),
    TONALIGN_FIELD(hist.scannum, text),
    TONALIGN_FIELD(hist.patient_id, text),
    TONALIGN_FIELD(hist.exp_date, text),
    TONALIGN_FIELD(hist.exp_time, text),
    TONALIGN_FIELD(hist.hist_un0, text),
    TONALIGN_FIELD(hist.views, integer32),
    TONALIGN_FIELD(hist.vols_added, integer32),
    TONALIGN_FIELD(hist.start_field, integer32),
    TONALIGN_FIELD(hist.field_skip, integer32),
    TONALIGN_FIELD(hist.omax, integer32),
    TONALIGN_FIELD(hist.omin, integer32),
    TONALIGN_FIELD(hist.smax, integer32),
    TONALIGN_FIELD(hist.smin, integer32),
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

} // namespace

std::span<const HeaderField> header_fields()
{
    return fields;
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
