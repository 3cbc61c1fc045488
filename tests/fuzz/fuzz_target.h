#pragma once

#include "failure/end_process.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

/// What the fuzz targets share. A target is one file with an LLVMFuzzerTestOneInput; linked with libFuzzer it
/// searches for inputs, linked with replay.cpp it runs those that are kept in its corpus folder.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace tonalign::test {

/// Thrown where the tool would end the process.
struct ProcessEnded
{
    ExitStatus status;
};

/// Runs an action with both console streams silenced; false when it ended the process.
template <typename Action>
bool completes(Action action)
{
    try {
        action();
        return true;
    } catch (const ProcessEnded&) {
        return false;
    }
}

/// Aborts with a line on standard error, whatever the console streams lead to, when a promise is broken.
void require(bool kept, const char* promise);

/// The path of a file in a folder of this process, which is removed at its end. Put TMPDIR on a memory disk
/// for speed.
std::string scratch_file(const std::string& name);

/// Takes values off the front of an input. Bytes past its end are 0.
class InputBytes
{
public:
    InputBytes(const std::uint8_t* data, std::size_t size) : m_next(data), m_left(size) {}

    std::size_t left() const { return m_left; }

    template <typename T>
    T take()
    {
        T value{};
        if (m_left > 0) {
            const std::size_t length = std::min(sizeof value, m_left);
            std::memcpy(&value, m_next, length);
            advance(length);
        }
        return value;
    }

    /// At most `most` bytes.
    std::string take_bytes(std::size_t most)
    {
        const std::size_t length = std::min(most, m_left);
        std::string bytes(m_next, m_next + length);
        advance(length);
        return bytes;
    }
    std::string rest() { return take_bytes(m_left); }

private:
    void advance(std::size_t length)
    {
        m_next += length;
        m_left -= length;
    }

    const std::uint8_t* m_next;
    std::size_t m_left;
};

} // namespace tonalign::test
