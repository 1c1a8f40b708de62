// Descriptor.h - an open file, socket or the like, closed with its owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace hvk {

/// Owns a descriptor, or none.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() { close(); }

    /// Its number; -1 for none.
    int get() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }

    void close() {
        if (number_ >= 0) ::close(std::exchange(number_, -1));
    }

private:
    int number_ = -1;
};

}  // namespace hvk
