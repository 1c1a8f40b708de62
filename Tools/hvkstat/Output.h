// Output.h - where a command writes: standard output, standard error, or a test's text.
//
// It remembers the first failure and then drops everything, so that a command may write on and look once. What a
// failure means for the exit code is Program's business.
#pragma once

#include <functional>
#include <string_view>

namespace hvk::hvkstat {

/// A stream of text. Thread: one at a time.
class Output {
public:
    /// Takes all of a text and answers 0, or the errno of why it could not.
    using Writer = std::function<int(std::string_view)>;

    explicit Output(Writer writer) : writer_(std::move(writer)) {}

    /// Writes to a descriptor, unbuffered; goes on after interruptions and short writes. The descriptor stays the
    /// caller's. SIGPIPE must be ignored for a closed pipe to arrive here as EPIPE.
    static Output toDescriptor(int descriptor);

    /// Writes the text; false when this or an earlier write failed.
    bool write(std::string_view text);

    bool works() const { return error_ == 0; }

    /// The errno of the first failure; 0 while it works.
    int error() const { return error_; }

private:
    Writer writer_;
    int error_ = 0;
};

}  // namespace hvk::hvkstat
