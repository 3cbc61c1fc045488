// SPDX-License-Identifier: BSD-3-Clause
// Reads and writes header files.
#include "volume/AnalyzeHeader.h"

#include "failure/end_process.h"
#include "volume/OutputFile.h"

#include <fstream>
#include <iostream>

int AnalyzeHeader::load(std::ifstream& fin, std::streamoff byteoffset)
{
    if (!fin) {
        std::cerr << "AnalyzeHeader::load  corrupted ifstream\n";
    }
    fin.seekg(byteoffset, std::ios::cur);
    if (!fin) {
        std::cerr << "AnalyzeHeader::load  error seeking pos\n";
    }
    fin.read(reinterpret_cast<char*>(&hk), sizeof hk);
    fin.read(reinterpret_cast<char*>(&dime), sizeof dime);
    fin.read(reinterpret_cast<char*>(&hist), sizeof hist);
    if (!fin) {
        std::cerr << "AnalyzeHeader::load  read error\n";
    }
    return 1;
}

void AnalyzeHeader::reportWriteError()
{
    std::cerr << "AnalyzeHeader::save  write error\n";
}

int AnalyzeHeader::save(std::ofstream& fout, std::streamoff byteoffset) const
{
    if (!fout) {
        std::cerr << "AnalyzeHeader::save  corrupted ofstream\n";
    }
    fout.seekp(byteoffset, std::ios::cur);
    if (!fout) {
        std::cerr << "AnalyzeHeader::save  error seeking pos\n";
    }
    fout.write(reinterpret_cast<const char*>(&hk), sizeof hk);
    fout.write(reinterpret_cast<const char*>(&dime), sizeof dime);
    fout.write(reinterpret_cast<const char*>(&hist), sizeof hist);
    // A full disk shows only when the buffered bytes leave the stream.
    fout.flush();
    if (!fout) {
        reportWriteError();
    }
    return 1;
}

int AnalyzeHeader::load(const char* file, std::streamoff byteoffset)
{
    std::ifstream fin(file, std::ios::binary);
    if (!fin) {
        std::cerr << "AnalyzeHeader: File <" << file << "> could not be opened \n";
        return 0;
    }
    load(fin, byteoffset);
    return 1;
}

int AnalyzeHeader::write(tonalign::OutputFile& output, std::streamoff byteoffset) const
{
    if (!output.begin()) {
        std::cerr << " File could not be opened or already exists\n";
        return 0;
    }
    save(output.stream(), byteoffset);
    const bool reported = !output.stream();
    if (!output.close() && !reported) {
        reportWriteError();
    }
    return 1;
}

void AnalyzeHeader::keep(tonalign::OutputFile& output)
{
    if (output.whole() && !output.keep()) {
        reportWriteError();
    }
}

int AnalyzeHeader::save(const char* file, std::streamoff byteoffset) const
{
    tonalign::OutputFile output(file);
    const int opened = write(output, byteoffset);
    keep(output);
    return opened;
}

int AnalyzeHeader::readAnalyzeHeader(const char* file, int byteSwap)
{
    if (load(file, 0) == 0) {
        tonalign::end_process(std::cerr,
                              {" Inside readAnalyzeHeader(char *file, itn byteSwap) \n",
                               " AnalyzeHeader could not be loaded from file = ", file, "\n"},
                              tonalign::ExitStatus::success);
    }
    if (byteSwap != 0 && hk.sizeof_hdr != tonalign::header_size) {
        std::cout << "**------------Byte Swapping Header during Loading from file------**\n";
        byte_swap_header();
        m_bImgNeedsByteSwap = true;
        std::cout << std::endl;
        if (hk.sizeof_hdr != tonalign::header_size) {
            tonalign::end_process(std::cerr, {" Header corrupted, even after Byte Swapping \n"},
                                  tonalign::ExitStatus::success);
        }
    }
    return 1;
}
