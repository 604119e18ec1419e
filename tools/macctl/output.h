// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The standard streams: what cannot be written to standard output is an error of the
// command, what cannot be written to standard error is lost.
#ifndef TOOLS_MACCTL_OUTPUT_H
#define TOOLS_MACCTL_OUTPUT_H

#include <stdexcept>
#include <string_view>

namespace macctl {

class OutputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Before anything is opened or printed: a stream that is closed must not become the number of
// an image, and a pipe that nobody reads, or a limit on a file's size, is an error of the
// write and not the end of the process.
void prepare_streams();

// Throws OutputError, at once or at the flush.
void put_out(std::string_view text);
void flush_out();
// After the last output: flushed and closed.
void finish_out();
// Waits so long; throws OutputError as soon as nobody can read what is written.
void wait_with_reader(int milliseconds);

void put_err(std::string_view text);

}  // namespace macctl

#endif
