// CFOwned.h - one reference to a Core Foundation object, given back when it goes out of scope.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace hvk {

/// Owns what a Create or Copy function answered; null owns nothing.
template <class Reference>
class CFOwned {
public:
    explicit CFOwned(Reference reference = nullptr) : reference_(reference) {}
    CFOwned(CFOwned&& other) noexcept : reference_(std::exchange(other.reference_, nullptr)) {}
    CFOwned& operator=(CFOwned&& other) noexcept {
        std::swap(reference_, other.reference_);
        return *this;
    }
    ~CFOwned() {
        if (reference_ != nullptr) CFRelease(reference_);
    }

    Reference get() const { return reference_; }
    explicit operator bool() const { return reference_ != nullptr; }

    /// Hands the reference to the caller, or to a function that consumes it.
    Reference take() { return std::exchange(reference_, nullptr); }

private:
    Reference reference_;
};

}  // namespace hvk
