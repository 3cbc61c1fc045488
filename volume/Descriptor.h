// SPDX-License-Identifier: BSD-3-Clause
// Owns a file descriptor.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace tonalign {

/// Owns an open file descriptor, or none. Closing keeps errno, so that a failure can be told after the
/// cleaning up.
class Descriptor
{
public:
    explicit Descriptor(int number = -1) : m_number(number) {}
    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_number, other.m_number);
        return *this;
    }
    ~Descriptor()
    {
        const int reason = errno;
        if (m_number >= 0) {
            ::close(m_number);
        }
        errno = reason;
    }

    bool open() const { return m_number >= 0; }
    operator int() const { return m_number; } // for system calls

private:
    int m_number;
};

} // namespace tonalign
