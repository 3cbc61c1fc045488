// SPDX-License-Identifier: BSD-3-Clause
// tonalign._core: the library on NumPy arrays. The package beside it checks and converts what it hands over.
#include "python/src/calls.h"

#include "driver/MatchingRun.h"
#include "driver/RunVolume.h"
#include "driver/requirements.h"
#include "histogram/HistogramMean.h"
#include "histogram/histogram.h"
#include "histogram/histogram_files.h"
#include "volume/Team.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace py = pybind11;

namespace {

using namespace tonalign;

constexpr py::ssize_t longest_axis = 1 << 30; // whose neighbours' indices an int holds

using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;

ElementKind kind_of(const py::array& volume)
{
    const py::dtype type = volume.dtype();
    for (const auto& [name, kind] :
         {std::pair{"uint8", ElementKind::uint8}, std::pair{"int16", ElementKind::int16},
          std::pair{"int32", ElementKind::int32}, std::pair{"float32", ElementKind::float32},
          std::pair{"float64", ElementKind::float64}}) {
        if (type.is(py::dtype(name)) || type.equal(py::dtype(name))) {
            return kind;
        }
    }
    throw py::value_error("a volume of uint8, int16, int32, float32 or float64 is expected");
}

/// A view of an array of three axes, x first; the mask, if there is one, has the same layout.
VolumeView view_of(const py::array& volume, const std::optional<py::array_t<std::uint8_t>>& mask)
{
    const auto size = [&](int axis) {
        if (volume.shape(axis) > longest_axis) {
            throw py::value_error("an axis is longer than " + std::to_string(longest_axis) + " voxels");
        }
        return static_cast<int>(volume.shape(axis));
    };
    const auto stride = [&](int axis) { return volume.strides(axis) / volume.itemsize(); };
    const VolumeView view(volume.data(), kind_of(volume), size(0), size(1), size(2), stride(0), stride(1),
                          stride(2));
    return mask ? view.masked(mask->data()) : view;
}

/// The voxels of a result, x first, in whatever layout NumPy has given it.
struct FloatVoxels
{
    explicit FloatVoxels(py::array_t<float>& array)
        : voxels(array.mutable_data()),
          along_x(array.strides(0) / item),
          along_y(array.strides(1) / item),
          along_z(array.strides(2) / item)
    {
    }

    float* row(int z, int y) const { return voxels + z * along_z + y * along_y; }

    static constexpr std::ptrdiff_t item = sizeof(float);
    float* voxels;
    std::ptrdiff_t along_x;
    std::ptrdiff_t along_y;
    std::ptrdiff_t along_z;
};

void copy_to(double* row, const Doubles& values)
{
    std::copy_n(values.data(), values.size(), row);
}

py::array_t<double> frequencies_of(double** hist, int bins)
{
    return py::array_t<double>(bins, hist[2] + 1);
}

/// A bin's value and frequency, each array of N numbers.
py::tuple histogram_tuple(double** hist, int bins)
{
    return py::make_tuple(py::array_t<double>(bins, hist[1] + 1), frequencies_of(hist, bins));
}

/// Takes a target as a histogram file would give it.
void set_target(MatchingRun& run, const std::pair<Doubles, Doubles>& target)
{
    const int bins = run.parameters.Nbins;
    run.hist2 = HistogramArray(bins);
    copy_to(run.hist2[1] + 1, target.first);
    copy_to(run.hist2[2] + 1, target.second);
    python::raise(complete_target_histogram(run.hist2, bins, run.parameters.inputfile2));
}

/// What volume and target are called in messages.
using Names = std::pair<std::string, std::string>;

RunParameters parameters_of(const Names& names, bool target_is_volume, int bins, double sigma, bool endpoints,
                            bool matches)
{
    RunParameters p;
    p.form = target_is_volume ? RunForm::image_to_image : RunForm::image_to_histogram;
    p.inputfile1 = names.first;
    p.inputfile2 = names.second;
    p.Nbins = bins;
    p.sigma1 = sigma;
    p.matchendpoints = endpoints ? 1 : 0;
    p.matchhistogram = matches ? 1 : 0;
    require_usable_parameters(p);
    return p;
}

/// A volume and, if not all of its voxels count, the mask that says which do.
using Scan = std::pair<py::array, std::optional<py::array_t<std::uint8_t>>>;

/// Puts the values of the ranked voxels of row (z, y), which in a volume with a mask lie inside it, into the
/// result; gives back whether the ranked voxels and those inside are the same.
bool put_matched(const ExactMatch& match, const VolumeView& view, int z, int y, const FloatVoxels& voxels)
{
    float* const row = voxels.row(z, y);
    const std::uint8_t* const mask = view.maskRow(z, y);
    const std::int64_t first = (std::int64_t{z} * view.ny + y) * view.nx;
    bool same = true;
    match.codes.forEach(view.nx, static_cast<std::uint64_t>(first), [&](std::int64_t x, std::uint32_t code) {
        const bool inside = mask == nullptr ? code != 0 : mask[x * view.stride_x] != 0;
        same = same && inside == (code != 0);
        if (inside && code != 0) {
            row[x * voxels.along_x] = static_cast<float>(match.values[code]);
        }
    });
    return same;
}

/// Hands out the target's frequencies by rank; see tonalign.match. Background voxels keep what `result`
/// holds.
py::dict match(const Names& names, const Scan& scan, const std::optional<Scan>& target_scan,
               const std::optional<std::pair<Doubles, Doubles>>& target, int bins, double sigma,
               bool endpoints, double clip, int threads, py::array_t<float> result)
{
    const VolumeView view = view_of(scan.first, scan.second);
    const std::optional<VolumeView> target_view =
        target_scan ? std::optional(view_of(target_scan->first, target_scan->second)) : std::nullopt;
    std::ostream silence(nullptr);
    MatchingRun run(parameters_of(names, target_scan.has_value(), bins, sigma, endpoints, true), silence);
    if (target) {
        set_target(run, *target);
    }
    const FloatVoxels voxels(result);
    HistogramArray reached(bins);
    std::atomic<bool> mask_holds = true;
    python::call(threads, [&](const StopFlag& stop) {
        run.input.stopOn(stop);
        python::raise(run.input.takeForeground(view, names.first, bins, clip));
        run.hist1 = HistogramArray(bins);
        run.input.calculateHistogram(0.0, run.hist1, bins);
        require_foreground(run.hist1, bins, names.first);
        if (target_view) {
            python::raise(run.target.takeForeground(*target_view, names.second, bins, 100.0));
            run.hist2 = HistogramArray(bins);
            run.target.calculateHistogram(0.0, run.hist2, bins);
            require_foreground(run.hist2, bins, names.second);
        }
        match_endpoints(run);
        reached = histogram_to_reach(run);
        match_histograms(run);
        if (run.input.exactMatch().codes.areAbsent()) {
            const auto foreground = static_cast<std::int64_t>(run.hist1[2][bins + 1]);
            throw py::value_error(
                names.first + ": a foreground of " + std::to_string(foreground) +
                " voxels is too small for the target, whose every bin gets less than half a voxel");
        }
        in_parallel(view.nz, [&](Team& team) {
            team.share([&](std::int64_t z) {
                for (int y = 0; y < view.ny; ++y) {
                    if (!put_matched(run.input.exactMatch(), view, static_cast<int>(z), y, voxels)) {
                        mask_holds = false;
                    }
                }
            });
        });
    });
    const ExactMatch& matched = run.input.exactMatch();
    py::dict results;
    results["before"] = histogram_tuple(run.hist1, bins);
    results["target"] = histogram_tuple(reached, bins);
    results["values"] =
        py::array_t<double>(static_cast<py::ssize_t>(matched.values.size()), matched.values.data());
    results["counts"] =
        py::array_t<std::int64_t>(static_cast<py::ssize_t>(matched.counts.size()), matched.counts.data());
    results["mask_holds"] = mask_holds.load();
    return results;
}

/// Puts a volume's present intensities into a result, as a file of floats would hold them.
void put_floats(const RunVolume& volume, const VolumeView& view, const FloatVoxels& voxels)
{
    in_parallel(view.nz, [&](Team& team) {
        std::vector<double> values(static_cast<std::size_t>(view.nx));
        team.share([&](std::int64_t slice) {
            const int z = static_cast<int>(slice);
            for (int y = 0; y < view.ny; ++y) {
                volume.row(z, y, values.data());
                float* const row = voxels.row(z, y);
                for (int x = 0; x < view.nx; ++x) {
                    row[x * voxels.along_x] = static_cast<float>(values[static_cast<std::size_t>(x)]);
                }
            }
        });
    });
}

/// The tool's whole run; see tonalign.normalise.
py::dict normalise(const Names& names, const py::array& volume, const std::optional<py::array>& target_volume,
                   const std::optional<std::pair<Doubles, Doubles>>& target, int bins, double sigma,
                   bool endpoints, bool matches, int threads, py::array_t<float> result,
                   std::optional<py::array_t<float>> target_result)
{
    const VolumeView view = view_of(volume, {});
    const std::optional<VolumeView> target_view =
        target_volume ? std::optional(view_of(*target_volume, {})) : std::nullopt;
    std::ostream silence(nullptr);
    MatchingRun run(parameters_of(names, target_volume.has_value(), bins, sigma, endpoints, matches),
                    silence);
    if (target) {
        set_target(run, *target);
    }
    const FloatVoxels voxels(result);
    const auto target_voxels = target_view ? std::optional<FloatVoxels>(*target_result) : std::nullopt;
    std::vector<double> distances;
    std::vector<HistogramArray> before;
    python::call(threads, [&](const StopFlag& stop) {
        run.input.stopOn(stop);
        python::raise(run.input.take(view, names.first));
        if (target_view) {
            python::raise(run.target.take(*target_view, names.second));
        }
        calculate_initial_histograms(run);
        before.push_back(run.hist1.copy());
        before.push_back(run.hist2.copy());
        adopt_target_bins(run);
        distances.push_back(histogram_distance(run));
        match_endpoints(run);
        distances.push_back(histogram_distance(run));
        match_histograms(run);
        map_to_output_range(run);
        calculate_final_histograms(run);
        distances.push_back(histogram_distance(run));
        put_floats(run.input, view, voxels);
        if (target_view) {
            put_floats(run.target, *target_view, *target_voxels);
        }
    });
    py::dict results;
    results["before"] = histogram_tuple(before[0], bins);
    results["target_before"] = histogram_tuple(before[1], bins);
    results["after"] = histogram_tuple(run.hist1, bins);
    results["target_after"] = histogram_tuple(run.hist2, bins);
    results["distances"] = distances;
    results["foreground"] = static_cast<std::int64_t>(before[0][2][bins + 1]);
    return results;
}

/// The histogram of a volume's foreground and the number of its voxels.
py::tuple histogram(const Scan& scan, const std::string& name, int bins, double clip, int threads)
{
    const VolumeView view = view_of(scan.first, scan.second);
    HistogramArray hist(bins);
    python::call(threads, [&](const StopFlag&) {
        RunVolume volume;
        python::raise(volume.takeForeground(view, name, bins, clip));
        volume.calculateHistogram(0.0, hist, bins);
    });
    return py::make_tuple(py::array_t<double>(bins, hist[1] + 1), frequencies_of(hist, bins),
                          hist[2][bins + 1]);
}

/// The mean of histograms given as (centres, frequencies, voxels), their distances and which were left out.
py::tuple mean(const std::vector<std::tuple<Doubles, Doubles, double>>& histograms,
               const std::vector<std::string>& names, int bins, double sigma,
               const std::vector<bool>& left_out, std::optional<double> limit)
{
    if (!can_smooth(sigma)) {
        throw py::value_error("the mean is smoothed by a number of bins below 214748364.6; found " +
                              std::to_string(sigma));
    }
    HistogramMean group(bins);
    HistogramArray hist(bins);
    for (std::size_t k = 0; k < histograms.size(); ++k) {
        const auto& [centres, frequencies, voxels] = histograms[k];
        copy_to(hist[1] + 1, centres);
        copy_to(hist[2] + 1, frequencies);
        hist[2][bins + 1] = voxels;
        python::raise(group.add(hist, names[k]));
        if (left_out[k]) {
            group.leaveOut(k);
        }
    }
    if (limit) {
        group.leaveOutliersOut(*limit);
    }
    std::vector<bool> out;
    for (std::size_t k = 0; k < histograms.size(); ++k) {
        out.push_back(group.isLeftOut(k));
    }
    if (std::find(out.begin(), out.end(), false) == out.end()) {
        throw py::value_error("every scan is left out, but a mean expects at least one");
    }
    return py::make_tuple(histogram_tuple(group.mean(sigma), bins), group.distances(), out);
}

void save(const Doubles& centres, const Doubles& frequencies, const std::string& file)
{
    const auto bins = static_cast<int>(centres.size());
    HistogramArray hist(bins);
    copy_to(hist[1] + 1, centres);
    copy_to(hist[2] + 1, frequencies);
    errno = 0;
    if (!save_array(hist, bins, file.c_str())) {
        errno = errno != 0 ? errno : EIO;
        PyErr_SetFromErrnoWithFilename(PyExc_OSError, file.c_str());
        throw py::error_already_set();
    }
}

py::tuple load(const std::string& file, int bins)
{
    HistogramArray hist(bins);
    python::raise(load_array(hist, bins, file.c_str()));
    hist[2][1] = 0.0;
    python::raise(complete_target_histogram(hist.copy(), bins, file));
    return histogram_tuple(hist, bins);
}

} // namespace

PYBIND11_MODULE(_core, module)
{
    tonalign::set_end_handler(tonalign::python::throw_end);
    module.def("match", match);
    module.def("normalise", normalise);
    module.def("histogram", histogram);
    module.def("mean", mean);
    module.def("save", save);
    module.def("load", load);
}
