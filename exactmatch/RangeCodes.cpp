// SPDX-License-Identifier: BSD-3-Clause
// Takes memory for codes.
#include "exactmatch/RangeCodes.h"

#include "volume/large_pages.h"

#include <new>

namespace tonalign {

RangeCodes::RangeCodes(std::int64_t voxels, std::uint32_t largest)
    : m_bytes(largest <= 0xFF ? 1 : (largest <= 0xFFFF ? 2 : 4)),
      m_codes(std::calloc(static_cast<std::size_t>(voxels), m_bytes))
{
    if (m_codes == nullptr) {
        throw std::bad_alloc();
    }
    prefer_large_pages(static_cast<std::byte*>(m_codes.get()), static_cast<std::size_t>(voxels) * m_bytes);
}

} // namespace tonalign
