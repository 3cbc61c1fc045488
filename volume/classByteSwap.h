// SPDX-License-Identifier: BSD-3-Clause
// The documented byte swaps.
#pragma once

/// Reverses, in place, the bytes of one value: byte i is exchanged with byte (width - 1 - i).
///
/// The typed overloads treat their argument as raw bytes, so they can be used on values whose bits are still
/// in the other byte order.
class classByteSwap
{
public:
    static void BYTE_SWAP_SHORT(unsigned char* pntr);
    static void BYTE_SWAP_SHORT(short* pntr);
    static void BYTE_SWAP_INT(unsigned char* pntr);
    static void BYTE_SWAP_INT(int* pntr);
    static void BYTE_SWAP_FLOAT(unsigned char* pntr);
    static void BYTE_SWAP_FLOAT(float* pntr);
    static void BYTE_SWAP_DOUBLE(unsigned char* pntr);
    static void BYTE_SWAP_DOUBLE(double* pntr);
};
