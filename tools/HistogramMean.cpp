#include "tools/HistogramMean.h"

#include "failure/end_process.h"
#include "failure/unattended_run.h"
#include "histogram/histogram.h"
#include "tools/pair_header.h"
#include "volume/Array3D.h"
#include "volume/IntensityRange.h"
#include "volume/voxel_file.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

namespace tonalign {

namespace {

std::ifstream open_image(const std::string& imagename)
{
    require_no_special_file(imagename);
    errno = 0;
    std::ifstream file(imagename, std::ios::binary);
    if (!file) {
        refuse(imagename + ": the image file cannot be opened for reading: " + std::strerror(errno));
    }
    return file;
}

void require_sizes(const AnalyzeHeader& header, const std::string& headername)
{
    if (std::min({header.getNx(), header.getNy(), header.getNz()}) < 1) {
        refuse(headername + ": the volume's size is " + std::to_string(header.getNx()) + " x " +
               std::to_string(header.getNy()) + " x " + std::to_string(header.getNz()) +
               ", but at least one voxel along each axis is expected");
    }
}

Array3D<double> read_volume(const InputVolume& input)
{
    std::ifstream file = open_image(input.imagename);
    // The file may have changed since it was looked at.
    require_whole_image_file(input.imagename, input.voxels(), *input.type);
    Array3D<double> volume(input.header.getNz(), input.header.getNy(), input.header.getNx());
    read_voxels(file, input.imagename, *input.type, input.header.IsImgNeedByteSwap(), volume.block(),
                volume.blockSize());
    return volume;
}

void require_finite_width(const IntensityRange& range, const std::string& imagename)
{
    if (!std::isfinite(range.maximum - range.minimum)) {
        std::ostringstream message;
        message << imagename << ": voxels range from " << range.minimum << " to " << range.maximum
                << ", but a range of finite width is expected";
        refuse(message.str());
    }
}

} // namespace

InputVolume inspect_input(const char* name)
{
    const PairHeader pair = read_pair_header(name);
    if (!pair.fault.empty()) {
        refuse(pair.fault);
    }
    const AnalyzeHeader& header = pair.header;
    require_sizes(header, pair.headername);
    const ElementType* const type = element_type_by_codes(header.getDataType(), header.getDataTypeBitSize());
    if (type == nullptr) {
        refuse(pair.headername + ": the element type, code " + std::to_string(header.getDataType()) +
               " with " + std::to_string(header.getDataTypeBitSize()) + " bits, is not one that is read");
    }
    InputVolume input = {name, pair.headername, pair.imagename, header, type};
    open_image(input.imagename);
    require_whole_image_file(input.imagename, input.voxels(), *type);
    return input;
}

HistogramMean::HistogramMean(int bins) : m_bins(bins), m_sum(bins), m_one(bins)
{
    for (const int row : {1, 2}) {
        std::fill_n(m_sum[row] + 1, bins, 0.0);
    }
}

void HistogramMean::add(const InputVolume& input)
{
    const std::string stage = "reading " + input.imagename;
    enter_stage(stage.c_str());
    const Array3D<double> volume = read_volume(input);
    const IntensityRange range = intensity_range(volume);
    require_finite_voxels(volume, range, input.imagename);
    require_finite_width(range, input.imagename);

    enter_stage("computing a histogram");
    compute_histogram(volume, range, 0.0, m_one, m_bins);
    if (m_one[2][m_bins + 1] == 0.0) {
        refuse(input.imagename + ": all voxels fall into the background bin, the first of " +
               std::to_string(m_bins) + ", but a mean expects at least one voxel outside it");
    }
    for (int i = 1; i <= m_bins; ++i) {
        m_sum[1][i] += m_one[1][i];
        m_sum[2][i] += m_one[2][i];
        if (!std::isfinite(m_sum[1][i])) {
            refuse(input.imagename + ": with this volume the centres of bin " + std::to_string(i) +
                   " sum to more than double precision holds");
        }
    }
    ++m_volumes;
}

HistogramArray HistogramMean::mean() const
{
    HistogramArray result(m_bins);
    for (const int row : {1, 2}) {
        std::transform(m_sum[row] + 1, m_sum[row] + 1 + m_bins, result[row] + 1,
                       [this](double sum) { return sum / m_volumes; });
    }
    return result;
}

} // namespace tonalign
