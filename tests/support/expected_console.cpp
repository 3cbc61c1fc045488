#include "tests/support/expected_console.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <sstream>

namespace tonalign::test {

namespace {

constexpr const char* time_banner = "*****TOTAL RUNNING TIME*****\n";

bool has_target(const std::vector<std::string>& argv)
{
    return argv.size() == 13;
}

void write_listing(std::ostream& out, const std::vector<std::string>& argv)
{
    const bool target = has_target(argv);
    const auto text = [&argv](int k) { return argv.at(static_cast<std::size_t>(k)).c_str(); };
    out << "\n";
    out << "inputfile1      \t" << text(1) << "\n";
    out << "inputfile2      \t" << text(2) << "\n";
    out << "outputfile1     \t" << text(3) << "\n";
    if (target) {
        out << "outputfile2     \t" << text(4) << "\n";
    }
    out << "Nbins           \t" << std::atoi(text(target ? 5 : 4)) << "\n";
    out << "sigma           \t" << (target ? std::atof(text(6)) : 0.0) << "\n";
    out << "matchendpoints  \t" << (target ? std::atoi(text(7)) : 0) << "\n";
    out << "matchhistogram  \t" << (target ? std::atoi(text(8)) : 1) << "\n";
    out << "inputfile1_hist \t" << text(target ? 9 : 5) << "\n";
    if (target) {
        out << "inputfile2_hist \t" << text(10) << "\n";
    }
    out << "outputfile1_hist\t" << text(target ? 11 : 6) << "\n";
    if (target) {
        out << "outputfile2_hist\t" << text(12) << "\n";
    }
    out << "\n\n";
}

void write_dimensions(std::ostream& out, const std::vector<LoadedImage>& images)
{
    const auto size = [&images](std::size_t image, std::size_t axis) {
        return image < images.size()
                   ? int{get<std::int16_t>(images[image].header, header_offset::dim + 2 * axis)}
                   : 0;
    };
    const auto spacing = [&images](std::size_t image, std::size_t axis) {
        return image < images.size()
                   ? double{get<float>(images[image].header, header_offset::pixdim + 4 * axis)}
                   : 0.0;
    };
    for (const std::size_t i : {0U, 1U}) {
        out << size(i, 1) << "\t" << size(i, 2) << "\t" << size(i, 3) << "\n";
    }
    for (const std::size_t i : {0U, 1U}) {
        out << spacing(i, 1) << "\t" << spacing(i, 2) << "\t" << spacing(i, 3) << "\n";
    }
}

/// The reports after each step: the ranges, when there is a target, then the error.
void write_reports(std::ostream& out, const Outcome& outcome, std::size_t step)
{
    if (!outcome.ranges.empty()) {
        const auto& [input, target] = outcome.ranges.at(step);
        out << "Image-1 max-min values:\t\t" << input.largest << "\t\t" << input.smallest << "\n";
        out << "Image-2 max-min values:\t\t" << target.largest << "\t\t" << target.smallest << "\n";
    }
    out << "Error between histograms=\t" << outcome.errors.at(step) << "\n";
}

void write_saved_image(std::ostream& out, const std::string& name, std::size_t voxels)
{
    out << " Inside AnalyzeImage::saveAnalyzeImageData() \n";
    out << " File " << analyze_base_name(name) << ".img opened successfully \n";
    out << " size_of_data_in_bytes = " << 4 * voxels << "\n";
}

} // namespace

Parameters parameters_of(const std::vector<std::string>& argv)
{
    Parameters parameters;
    if (has_target(argv)) {
        parameters.bins = std::atoi(argv[5].c_str());
        parameters.sigma = std::atof(argv[6].c_str());
        parameters.match_endpoints = std::atoi(argv[7].c_str()) == 1;
        parameters.match_histogram = std::atoi(argv[8].c_str()) == 1;
    } else {
        parameters.bins = std::atoi(argv.at(4).c_str());
        parameters.match_histogram = true;
    }
    return parameters;
}

std::string expected_output(const std::vector<std::string>& argv, const std::vector<LoadedImage>& images,
                            const Outcome& outcome)
{
    std::ostringstream out;
    out << "\nINPUTS TO THE PROGRAM\n";
    for (std::size_t i = 0; i < argv.size(); ++i) {
        out << i << "> " << argv[i] << "\n";
    }
    out << "\n";
    write_listing(out, argv);
    out << "*****READING IMAGES AND ALLOCATING ARRAYS*****\n";
    for (const LoadedImage& image : images) {
        if (image.order == ByteOrder::foreign) {
            out << "**------------Byte Swapping Header during Loading from file------**\n\n";
        }
    }
    write_dimensions(out, images);
    write_reports(out, outcome, 0);
    if (!outcome.endpoint_reports.empty()) {
        out << "*****MATCHING HISTOGRAM ENDPOINTS*****\n";
    }
    for (const EndpointReport& report : outcome.endpoint_reports) {
        out << "bp_index1 = " << report.input.lower << "\tep_index1 = " << report.input.upper << "\n";
        out << "bp_index2 = " << report.target.lower << "\tep_index2 = " << report.target.upper << "\n\n";
    }
    write_reports(out, outcome, 1);
    if (parameters_of(argv).match_histogram) {
        out << "*****MATCHING HISTOGRAMS*****\n";
    }
    write_reports(out, outcome, 2);
    out << "*****IMAGES ARE BEING SAVED*****\n\n";
    write_saved_image(out, argv[3], outcome.output1.size());
    if (has_target(argv)) {
        write_saved_image(out, argv[4], outcome.output2.size());
    }
    write_dimensions(out, images);
    out << time_banner << running_time << "\n\n\n";
    return out.str();
}

std::string expected_error(const std::vector<LoadedImage>& images)
{
    std::string text;
    for (const LoadedImage& image : images) {
        if (image.order == ByteOrder::foreign) {
            text += "**------Byte Swapping Image during Load from file -----**\n";
        }
    }
    return text;
}

std::string mask_running_time(const std::string& output)
{
    const std::size_t banner = output.rfind(time_banner);
    if (banner == std::string::npos) {
        return output;
    }
    const std::size_t begin = banner + std::string(time_banner).size();
    const std::size_t end = std::min(output.find('\n', begin), output.size());
    const std::string seconds = output.substr(begin, end - begin);
    const bool decimal = !seconds.empty() && seconds.find_first_not_of("0123456789.e+-") == std::string::npos;
    char* rest = nullptr;
    if (!decimal || !(std::strtod(seconds.c_str(), &rest) >= 0.0) || *rest != '\0') {
        return output;
    }
    return output.substr(0, begin) + running_time + output.substr(end);
}

} // namespace tonalign::test
