// SPDX-License-Identifier: BSD-3-Clause
// Reverses the bytes of single values.
#include "volume/classByteSwap.h"

#include <algorithm>

void classByteSwap::BYTE_SWAP_SHORT(unsigned char* pntr)
{
    std::reverse(pntr, pntr + 2);
}

void classByteSwap::BYTE_SWAP_SHORT(short* pntr)
{
    BYTE_SWAP_SHORT(reinterpret_cast<unsigned char*>(pntr));
}

void classByteSwap::BYTE_SWAP_INT(unsigned char* pntr)
{
    std::reverse(pntr, pntr + 4);
}

void classByteSwap::BYTE_SWAP_INT(int* pntr)
{
    BYTE_SWAP_INT(reinterpret_cast<unsigned char*>(pntr));
}

void classByteSwap::BYTE_SWAP_FLOAT(unsigned char* pntr)
{
    std::reverse(pntr, pntr + 4);
}

void classByteSwap::BYTE_SWAP_FLOAT(float* pntr)
{
    BYTE_SWAP_FLOAT(reinterpret_cast<unsigned char*>(pntr));
}

void classByteSwap::BYTE_SWAP_DOUBLE(unsigned char* pntr)
{
    std::reverse(pntr, pntr + 8);
}

void classByteSwap::BYTE_SWAP_DOUBLE(double* pntr)
{
    BYTE_SWAP_DOUBLE(reinterpret_cast<unsigned char*>(pntr));
}
