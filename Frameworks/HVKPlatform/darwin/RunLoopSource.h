// RunLoopSource.h - a source in the run loop of the thread that made it, taken out with its owner.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include "HVKPlatform/darwin/CFOwned.h"

namespace hvk {

/// Owns the source's place in the loop, and the source when it was handed over.
class RunLoopSource {
public:
    RunLoopSource() = default;
    RunLoopSource(CFOwned<CFRunLoopSourceRef> source, CFStringRef mode)
        : source_(std::move(source)), loop_(CFRunLoopGetCurrent()), mode_(mode) {
        if (source_) CFRunLoopAddSource(loop_, source_.get(), mode_);
    }
    ~RunLoopSource() {
        if (source_) CFRunLoopRemoveSource(loop_, source_.get(), mode_);
    }
    RunLoopSource(const RunLoopSource&) = delete;
    RunLoopSource& operator=(const RunLoopSource&) = delete;

    /// Whether there is one.
    explicit operator bool() const { return static_cast<bool>(source_); }

private:
    CFOwned<CFRunLoopSourceRef> source_;
    CFRunLoopRef loop_ = nullptr;
    CFStringRef mode_ = nullptr;
};

/// One more reference to a source that somebody else owns.
inline CFOwned<CFRunLoopSourceRef> retained(CFRunLoopSourceRef source) {
    if (source != nullptr) CFRetain(source);
    return CFOwned<CFRunLoopSourceRef>(source);
}

}  // namespace hvk
