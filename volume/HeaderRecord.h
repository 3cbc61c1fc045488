// SPDX-License-Identifier: BSD-3-Clause
// The 348 bytes of a header, as in its file.
#pragma once

#include <cstdint>

/// The three structures of the 348-byte Analyze 7.5 header, in file order. Their memory layout is the file
/// layout: no padding, integers signed, text fields NUL-terminated when shorter than the field.

/// Bytes 0-39.
struct header_key
{
    std::int32_t sizeof_hdr; ///< 348 in the reader's byte order
    char data_type[10];
    char db_name[18];
    std::int32_t extents; ///< 16384 in headers made here
    std::int16_t session_error;
    char regular; ///< 'r' in headers made here
    char hkey_un0;
};

/// Bytes 40-147.
struct image_dimension
{
    std::int16_t dim[8]; ///< [0] number of dimensions, [1..3] x, y, z sizes in voxels, [4] number of volumes
    char vox_units[4];   ///< unit of the voxel spacing
    char cal_units[8];
    std::int16_t unused1;
    std::int16_t datatype; ///< element type code
    std::int16_t bitpix;   ///< bits per voxel
    std::int16_t dim_un0;
    float pixdim[8];  ///< [1] voxel width, [2] voxel height, [3] interslice distance
    float vox_offset; ///< written as 0, ignored on reading
    float roi_scale;
    float funused1;
    float funused2;
    float cal_max;
    float cal_min;
    std::int32_t compressed;
    std::int32_t verified;
    std::int32_t glmax; ///< largest voxel value
    std::int32_t glmin; ///< smallest voxel value
};

/// Bytes 148-347.
struct data_history
{
    char descrip[80];
    char aux_file[24];
    char orient; ///< 0 transverse, 1 coronal, 2 sagittal
    char originator[10];
    char generated[10];
    char scannum[10];
    char patient_id[10];
    char exp_date[10];
    char exp_time[10];
    char hist_un0[3];
    std::int32_t views;
    std::int32_t vols_added;
    std::int32_t start_field;
    std::int32_t field_skip;
    std::int32_t omax;
    std::int32_t omin;
    std::int32_t smax;
    std::int32_t smin;
};

static_assert(sizeof(header_key) == 40 && sizeof(image_dimension) == 108 && sizeof(data_history) == 200);

/// The whole record without a class around it.
struct dsr
{
    header_key hk;
    image_dimension dime;
    data_history hist;
};

namespace tonalign {

/// Size of a header file in bytes, and the value of `sizeof_hdr` in a well-formed header.
inline constexpr int header_size = 348;
static_assert(sizeof(dsr) == header_size);

/// Value of `extents` in headers made here.
inline constexpr int default_extents = 16384;

} // namespace tonalign
