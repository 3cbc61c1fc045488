/// One or two header files: loading, swapping, listing, comparing and saving. The first 348 bytes are one
/// file, what follows is the other.

#include "tests/fuzz/fuzz_target.h"
#include "tests/support/scratch_files.h"
#include "volume/AnalyzeHeader.h"
#include "volume/HeaderFields.h"

#include <numeric>
#include <sstream>

using namespace tonalign::test;

namespace {

std::string record_of(const AnalyzeHeader& header)
{
    const dsr record = {header.hk, header.dime, header.hist};
    return {reinterpret_cast<const char*>(&record), sizeof record};
}

AnalyzeHeader load(const std::string& name)
{
    AnalyzeHeader header;
    header.load(name.c_str(), 0);
    return header;
}

void require_swap_undoes_itself(const AnalyzeHeader& header)
{
    AnalyzeHeader swapped = header;
    swapped.byte_swap_header();
    swapped.byte_swap_header();
    require(record_of(swapped) == record_of(header), "two swaps leave a header as it was");
}

/// A change of the first byte of a field is noticed.
void require_equality_sees(const tonalign::HeaderField& field, const AnalyzeHeader& header)
{
    dsr record = {header.hk, header.dime, header.hist};
    reinterpret_cast<unsigned char*>(&record)[field.offset] ^= 1U;
    AnalyzeHeader changed = header;
    changed.hk = record.hk;
    changed.dime = record.dime;
    changed.hist = record.hist;
    require((header == changed) == 0 && (changed != header) == 1, field.name);
    require((header == header) == 1, "a header equals itself");
}

void list_and_compare(const AnalyzeHeader& first, const AnalyzeHeader& second)
{
    std::ostringstream listing;
    first.print(listing);
    first.diff(second, listing);
    require(listing.good() && !listing.str().empty(), "a header is listed");
    require((first == second) == (second == first), "equality is symmetric");
}

void require_saved_whole(const AnalyzeHeader& header)
{
    const std::string name = scratch_file("saved.hdr");
    require(header.saveAnalyzeHeader(name.c_str()) == 1, "a header is saved");
    require(read_file(name) == record_of(header), "a header is saved as its record");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    InputBytes input(data, size);
    const std::string name = scratch_file("first.hdr");
    const std::string other = scratch_file("second.hdr");
    const std::string bytes = input.take_bytes(tonalign::header_size);
    const std::string text = input.rest();
    write_file(name, bytes);
    write_file(other, text);

    AnalyzeHeader header = load(name);
    require(bytes.size() < tonalign::header_size || record_of(header) == bytes, "a whole header is loaded");
    require_swap_undoes_itself(header);
    const auto fields = tonalign::header_fields();
    require_equality_sees(fields[std::accumulate(bytes.begin(), bytes.end(), 0U) % fields.size()], header);
    list_and_compare(header, load(other));
    require_saved_whole(header);
    completes([&] { header.checkAnalyzeHeaderInProperFormat(); });
    header.setVoxelUnits(text.c_str());
    header.setCalUnits(text.c_str());
    header.setDataType(text.c_str());

    AnalyzeHeader read;
    if (completes([&] { read.readAnalyzeHeader(name.c_str(), 1); })) {
        require(read.hk.sizeof_hdr == tonalign::header_size, "a header that was read is in order");
    }
    return 0;
}
