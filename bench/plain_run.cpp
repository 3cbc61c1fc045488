// SPDX-License-Identifier: BSD-3-Clause
#include "tests/support/analyze_files.h"
#include "tests/support/plain_matching.h"
#include "tests/support/scratch_files.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

/// The plain transcription as a program, file to file, with the command line of usage 1.
///
///     plain_run INPUT TARGET OUTPUT1 OUTPUT2 BINS SIGMA ENDPOINTS HISTOGRAMS HIST1 HIST2 HIST3 HIST4
///
/// It writes the files that tonalign writes, so that the two can be timed and their bytes compared. Volumes
/// are named by their .img files and are read in this machine's byte order.

namespace {

using namespace tonalign::test;

template <typename Element>
void decode(const std::string& bytes, Volume& volume)
{
    const std::size_t count = static_cast<std::size_t>(volume.nx) * static_cast<std::size_t>(volume.ny) *
                              static_cast<std::size_t>(volume.nz);
    if (bytes.size() < count * sizeof(Element)) {
        throw std::runtime_error("an image file is shorter than its header says");
    }
    volume.voxels.resize(count);
    for (std::size_t j = 0; j < count; ++j) {
        Element element;
        std::memcpy(&element, bytes.data() + j * sizeof element, sizeof element);
        volume.voxels[j] = static_cast<double>(element);
    }
}

Volume load(const std::filesystem::path& image, HeaderRecord& header)
{
    const std::string record = read_file(std::filesystem::path(image).replace_extension(".hdr"));
    if (record.size() < header.size()) {
        throw std::runtime_error("a header file is too short");
    }
    std::memcpy(header.data(), record.data(), header.size());
    Volume volume;
    volume.nx = get<std::int16_t>(header, header_offset::dim + 2);
    volume.ny = get<std::int16_t>(header, header_offset::dim + 4);
    volume.nz = get<std::int16_t>(header, header_offset::dim + 6);
    const std::string bytes = read_file(image);
    switch (get<std::int16_t>(header, header_offset::datatype)) {
    case 2:
        decode<std::uint8_t>(bytes, volume);
        break;
    case 4:
        decode<std::int16_t>(bytes, volume);
        break;
    case 8:
        decode<std::int32_t>(bytes, volume);
        break;
    case 16:
        decode<float>(bytes, volume);
        break;
    case 64:
        decode<double>(bytes, volume);
        break;
    default:
        throw std::runtime_error("a header names an element type that is not read here");
    }
    return volume;
}

void save(const std::filesystem::path& image, const HeaderRecord& input_header,
          const std::vector<float>& voxels)
{
    write_file(image, float_bytes(voxels));
    write_file(std::filesystem::path(image).replace_extension(".hdr"),
               header_bytes(output_header(input_header), ByteOrder::native));
}

int run(char** argv)
{
    HeaderRecord header1;
    HeaderRecord header2;
    Volume input = load(argv[1], header1);
    Volume target = load(argv[2], header2);
    Parameters parameters;
    parameters.bins = std::atoi(argv[5]);
    parameters.sigma = std::atof(argv[6]);
    parameters.match_endpoints = std::atoi(argv[7]) == 1;
    parameters.match_histogram = std::atoi(argv[8]) == 1;
    const Outcome outcome = match_to_volume(std::move(input), std::move(target), parameters);
    if (!outcome.refusal.empty()) {
        throw std::runtime_error(outcome.refusal);
    }
    save(argv[3], header1, outcome.output1);
    save(argv[4], header2, outcome.output2);
    write_file(argv[9], outcome.input1_histogram);
    write_file(argv[10], outcome.input2_histogram);
    write_file(argv[11], outcome.output1_histogram);
    write_file(argv[12], outcome.output2_histogram);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 13) {
        std::fprintf(stderr, "plain_run: 12 arguments are expected, those of tonalign's usage 1\n");
        return 2;
    }
    try {
        return run(argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "plain_run: %s\n", error.what());
        return 1;
    }
}
