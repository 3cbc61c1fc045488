// SPDX-License-Identifier: BSD-3-Clause
// Works beside the interpreter.
#include "python/src/calls.h"

#include <omp.h>
#include <pybind11/pybind11.h>

#include <chrono>
#include <exception>
#include <future>
#include <new>
#include <string>

namespace py = pybind11;

namespace tonalign::python {

void raise(const Fault& fault)
{
    if (fault) {
        throw py::value_error(fault.message);
    }
}

int throw_end(const ProcessEnd& end)
{
    std::string text;
    for (const std::string_view piece : end.pieces) {
        text += piece;
    }
    if (text.find("allocation failure") != std::string::npos) {
        throw std::bad_alloc();
    }
    const std::string program = "tonalign: ";
    const std::size_t begin = text.starts_with(program) ? program.size() : 0;
    throw py::value_error(text.substr(begin, text.find_last_not_of(" \n") + 1 - begin));
}

void call(int threads, const std::function<void(const StopFlag&)>& work)
{
    StopFlag stop{false};
    bool interrupted = false;
    {
        const py::gil_scoped_release no_lock;
        std::future<void> done = std::async(std::launch::async, [&] {
            if (threads > 0) {
                omp_set_num_threads(threads);
            }
            work(stop);
        });
        while (done.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout) {
            if (!interrupted) {
                const py::gil_scoped_acquire lock;
                interrupted = PyErr_CheckSignals() != 0;
                stop = interrupted;
            }
        }
        if (!interrupted) {
            done.get();
        }
    }
    if (interrupted) {
        throw py::error_already_set();
    }
}

} // namespace tonalign::python
