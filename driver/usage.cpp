// SPDX-License-Identifier: BSD-3-Clause
// The usage text.
#include "driver/RunParameters.h"

#include <iostream>

void print_usage()
{
    // Standard error is unbuffered; the trailing blanks are part of the text.
    std::cerr
        << "\n"
           "***************USAGE 1*************** THIS WILL BE UPDATED\n"
           "(0)tonalign\n"
           "(1)inputimage1.img (image to be transformed)\n"
           "(2)inputimage2.img (target image)\n"
           "(3)outputimage1.img (format float with range [0,255])\n"
           "(4)outputimage2.img (format float with range [0,255])\n"
           "(5)N (number of bins in histogram calculations) \n"
           "(6)sigma (sigma of gaussian filter for smoothing of target histogram and input histogram for "
           "endpoint calculations )\n"
           "\t[0] no smoothing\n"
           "(7)match histogram endpoints\n"
           "\t[0] no matching\n"
           "\t[1] do matching\n"
           "(8)match histograms \n"
           "\t[0] no matching\n"
           "\t[1] do matching\n"
           "(9)inputimage1.hist   (original input image histogram)     \n"
           "(10)inputimage2.hist  (original target image histogram)    \n"
           "(11)inputimage1t.hist (transformed input image histogram)  \n"
           "(12)inputimage2t.hist (transformed target image histogram) \n"
           "\n\n\n"
           "***************USAGE 2*************** THIS WILL BE UPDATED\n"
           "(0)tonalign\n"
           "(1)inputimage1.img (image to be transformed)\n"
           "(2)target.hist (target histogram)\n"
           "(3)outputimage1.img (format float with range [0,255])\n"
           "(4)N (number of bins in histogram calculations)\n"
           "(5)inputimage1.hist   (original input image histogram)    \n"
           "(6)inputimage1t.hist (transformed input image histogram)  \n"
           "\n\n";
}
