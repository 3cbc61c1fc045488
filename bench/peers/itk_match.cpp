// SPDX-License-Identifier: BSD-3-Clause
// ITK's histogram matching, file to file: what a user of that filter writes, and nothing else.
//
//     itk_match INPUT TARGET OUTPUT THRESHOLD
//
// Reads Analyze or NIfTI pairs as floats and writes floats. 256 levels and 64 match points; THRESHOLD is 1
// for the filter's default, which leaves voxels below the mean intensity out of the histograms, or 0.
// ITK_GLOBAL_DEFAULT_NUMBER_OF_THREADS sets the number of threads.
#include <itkHistogramMatchingImageFilter.h>
#include <itkImage.h>
#include <itkImageFileReader.h>
#include <itkImageFileWriter.h>
#include <itkNiftiImageIO.h>

#include <cstdlib>
#include <iostream>
#include <string>

namespace {

using Image = itk::Image<float, 3>;
using Filter = itk::HistogramMatchingImageFilter<Image, Image>;

itk::NiftiImageIO::Pointer make_file_format()
{
    const auto format = itk::NiftiImageIO::New();
    format->SetLegacyAnalyze75Mode(itk::NiftiImageIOEnums::Analyze75Flavor::AnalyzeITK4);
    return format;
}

Image::Pointer read(const std::string& file)
{
    const auto reader = itk::ImageFileReader<Image>::New();
    reader->SetImageIO(make_file_format());
    reader->SetFileName(file);
    reader->Update();
    return reader->GetOutput();
}

void match(char** argv)
{
    const auto filter = Filter::New();
    filter->SetSourceImage(read(argv[1]));
    filter->SetReferenceImage(read(argv[2]));
    filter->SetNumberOfHistogramLevels(256);
    filter->SetNumberOfMatchPoints(64);
    filter->SetThresholdAtMeanIntensity(std::atoi(argv[4]) != 0);

    const auto writer = itk::ImageFileWriter<Image>::New();
    writer->SetImageIO(make_file_format());
    writer->SetInput(filter->GetOutput());
    writer->SetFileName(argv[3]);
    writer->Update();
}

} // namespace

int main(int, char** argv)
{
    try {
        match(argv);
    } catch (const itk::ExceptionObject& error) {
        std::cerr << "itk_match: " << error << '\n';
        return 1;
    }
    return 0;
}
