// SPDX-License-Identifier: BSD-3-Clause
// Work shared out among threads.
#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <mutex>

namespace tonalign {

/// The threads of one parallel region, to whom the numbers 0..count-1 (slices, say) are given, each once, to
/// whoever asks first.
///
/// No exception may leave a parallel region: the first one ends the giving out, and reaches the caller of
/// in_parallel() when all threads are done.
class Team
{
public:
    explicit Team(std::int64_t count) : m_count(count) {}

    /// Calls work(number) for the numbers that this thread gets.
    template <typename Work>
    void share(Work work)
    {
        for (std::int64_t number = m_next++; number < m_count; number = m_next++) {
            work(number);
        }
    }

    /// Calls merge() while no other thread of the team does such a thing.
    template <typename Merge>
    void takeTurns(Merge merge)
    {
        const std::lock_guard lock(m_mutex);
        merge();
    }

private:
    template <typename Body>
    friend void in_parallel(std::int64_t count, Body body);

    void fail()
    {
        m_next = m_count;
        takeTurns([this] { m_failure = m_failure ? m_failure : std::current_exception(); });
    }

    std::int64_t m_count;
    std::atomic<std::int64_t> m_next = 0;
    std::mutex m_mutex;
    std::exception_ptr m_failure;
};

/// Calls body(team) on each of OpenMP's threads, which share `count` numbers.
template <typename Body>
void in_parallel(std::int64_t count, Body body)
{
    Team team(count);
#pragma omp parallel
    {
        try {
            body(team);
        } catch (...) {
            team.fail();
        }
    }
    if (team.m_failure) {
        std::rethrow_exception(team.m_failure);
    }
}

} // namespace tonalign
