#include "HVKPlatform/linux/DirectoryWatch.h"

#include <utility>

#include "HVKPlatform/linux/SystemCalls.h"

namespace hvk {

namespace {

/// Spreads an entry over 64 bits, so that a sum of several tells them apart.
std::uint64_t entryHash(const dirent& entry) {
    std::uint64_t hash = 14695981039346656037U ^ entry.d_ino;
    for (const char* c = entry.d_name; *c != 0; ++c) hash = (hash ^ static_cast<unsigned char>(*c)) * 1099511628211U;
    hash ^= hash >> 33;
    hash *= 0xff51afd7ed558ccdU;
    hash ^= hash >> 33;
    return hash;
}

}  // namespace

bool DirectoryWatch::changed() {
    countSystemCalls(directory_ ? 3 : 4);  // seek or open, the list, its end
    if (directory_)
        ::rewinddir(directory_.get());
    else
        directory_.reset(::opendir(path_.c_str()));
    exists_ = directory_ != nullptr;
    std::uint64_t sum = 0;
    if (directory_)
        while (const dirent* entry = ::readdir(directory_.get()))
            if (entry->d_name[0] != '.') sum += entryHash(*entry);
    if (!keep_) directory_.reset();
    return std::exchange(seen_, sum) != sum;
}

}  // namespace hvk
