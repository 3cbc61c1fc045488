// SPDX-License-Identifier: BSD-3-Clause
// The 8-bit image in memory.
#include "volume/Image.h"

#include "volume/AnalyzeHeader.h"
#include "volume/HeaderFields.h"
#include "volume/PairNames.h"
#include "volume/VolumeBox.h"

#include <algorithm>
#include <cstring>
#include <iostream>
#include <limits>
#include <string_view>
#include <utility>

Image::Image(int xdim, int ydim, int zdim)
{
    if (!voxelCount(xdim, ydim, zdim)) {
        refusedSizes(xdim, ydim, zdim);
        return;
    }
    nx = xdim;
    ny = ydim;
    nz = zdim;
    needs_saving = 1;
    InitAnalyzeHeader();
    InitAnalyzeData();
}

u_char Image::GetValue(int x, int y, int z) const
{
    const bool inside = 0 <= x && x < nx && 0 <= y && y < ny && 0 <= z && z < nz;
    return inside && data != nullptr ? data[offsetOf(x, y, z)] : u_char{0};
}

void Image::MinMax(u_char& minret, u_char& maxret)
{
    CalculateMinMax();
    minret = curmin;
    maxret = curmax;
}

Image* Image::Copy() const
{
    auto copy = std::make_unique<Image>();
    copy->nx = nx;
    copy->ny = ny;
    copy->nz = nz;
    copy->needs_saving = 1;
    if (!lacksVoxels()) {
        copy->provideVoxels(voxelCount(nx, ny, nz).value());
        std::copy_n(m_voxels.begin(), copy->m_voxels.size(), copy->m_voxels.begin());
    }
    std::memcpy(copy->filename, filename, sizeof filename);
    copy->curmin = curmin;
    copy->curmax = curmax;
    copy->InitAnalyzeHeader();
    if (hdr != nullptr) {
        *copy->hdr = *hdr;
    }
    return copy.release();
}

void Image::Pad()
{
    if (data == nullptr || lacksVoxels()) {
        return;
    }
    const std::int64_t wide = std::int64_t{nx} + 2;
    const std::int64_t high = std::int64_t{ny} + 2;
    const std::int64_t deep = std::int64_t{nz} + 2;
    const auto count = voxelCount(wide, high, deep);
    if (!count) {
        refused("an image this large cannot be given a border");
        return;
    }
    std::vector<u_char> padded(*count);
    for (int z = 0; z < nz; ++z) {
        for (int y = 0; y < ny; ++y) {
            std::copy_n(data + offsetOf(0, y, z), nx, &padded[0] + ((z + 1) * high + y + 1) * wide + 1);
        }
    }
    m_voxels.swap(padded);
    data = m_voxels.data();
    nx = static_cast<int>(wide);
    ny = static_cast<int>(high);
    nz = static_cast<int>(deep);
}

int Image::ConstructAnalyzeNames(const char* pref)
{
    const std::string_view base = tonalign::base_of_pair(pref);
    constexpr std::size_t longest = sizeof filename - sizeof ".hdr";
    if (base.size() > longest) {
        return refused("an image name of " + std::to_string(base.size()) +
                       " characters is too long, at most " + std::to_string(longest) + " are possible");
    }
    // The name may be one made from `filename` itself.
    std::memmove(filename, base.data(), base.size());
    filename[base.size()] = '\0';
    return 1;
}

void Image::InitAnalyzeHeader()
{
    AnalyzeHeader defaults;
    defaults.setBareBonesHeader(nz, ny, nx, "unsigned char", 255, 0);
    defaults.setVoxelUnits(" ");
    provideHeader();
    *hdr = {defaults.hk, defaults.dime, defaults.hist};
}

void Image::UpdateAnalyzeHeader()
{
    if (hdr == nullptr) {
        InitAnalyzeHeader();
    }
    if (needs_saving != 0) {
        CalculateMinMax();
    }
    hdr->dime.glmax = curmax;
    hdr->dime.glmin = curmin;
    hdr->dime.dim[1] = static_cast<std::int16_t>(nx);
    hdr->dime.dim[2] = static_cast<std::int16_t>(ny);
    hdr->dime.dim[3] = static_cast<std::int16_t>(nz);
}

void Image::InitAnalyzeData()
{
    const auto count = voxelCount(nx, ny, nz);
    if (!count) {
        dropVoxels();
        refusedSizes(nx, ny, nz);
        return;
    }
    provideVoxels(*count);
    std::fill(m_voxels.begin(), m_voxels.end(), u_char{0});
}

void Image::CalculateMinMax()
{
    curmin = 0;
    curmax = 255;
    if (data != nullptr && !lacksVoxels() && voxelCount(nx, ny, nz) > 0U) {
        const auto [least, greatest] = std::minmax_element(data, data + voxelCount(nx, ny, nz).value());
        curmin = *least;
        curmax = *greatest;
    }
}

void Image::byte_swap_header()
{
    if (hdr != nullptr) {
        tonalign::swap_numeric_fields(*hdr);
    }
}

/// Number of voxels of a volume with these sizes, or nothing when the sizes are of no use.
std::optional<std::size_t> Image::voxelCount(std::int64_t xdim, std::int64_t ydim, std::int64_t zdim)
{
    const auto [least, greatest] = std::minmax({xdim, ydim, zdim});
    if (least < 0 || greatest > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    const std::int64_t count = tonalign::element_count(xdim, ydim, zdim);
    return count < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(count));
}

/// One line on standard error, and the result of an operation that failed.
int Image::refused(const std::string& message)
{
    std::cerr << message << '\n';
    return 0;
}

int Image::refusedSizes(int xdim, int ydim, int zdim)
{
    return refused("an image cannot have " + std::to_string(xdim) + " x " + std::to_string(ydim) + " x " +
                   std::to_string(zdim) + " voxels");
}

/// Whether the sizes promise more voxels than the image holds.
bool Image::lacksVoxels() const
{
    const auto count = voxelCount(nx, ny, nz);
    return !count || (data == nullptr ? *count > 0 : *count > m_voxels.size());
}

void Image::provideHeader()
{
    if (!m_header) {
        m_header = std::make_unique<dsr>();
    }
    hdr = m_header.get();
}

/// Makes room for `count` voxels of undefined value.
void Image::provideVoxels(std::size_t count)
{
    if (m_voxels.capacity() < count) {
        dropVoxels();
    }
    // Null means absent, so even a volume of no voxels has an address.
    m_voxels.reserve(std::max<std::size_t>(count, 1));
    m_voxels.resize(count);
    data = m_voxels.data();
}

void Image::dropVoxels()
{
    m_voxels = {};
    data = nullptr;
}
