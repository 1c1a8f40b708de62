// ProcessArguments.h - takes the executable's path and the arguments out of what the kernel copies from a process.
//
// The bytes lie in the process's own memory, which it may write as it likes: only the count is the kernel's. It is what
// keeps the environment, which follows the arguments, out of the answer.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "HVKPlatform/Result.h"

namespace hvk::decode {

/// sysctl KERN_PROCARGS2: a 32-bit count of arguments, the path of the executable, zeros up to a boundary, then the
/// arguments. Answers the path, then the arguments, each up to its NUL or to the end of the bytes, which may come
/// early; never more than the count says. The bytes of the texts are as they are, UTF-8 or not. An empty first argument
/// cannot be told from the zeros before it: it is skipped, and the count then reaches one text further. Malformed when
/// there is no path, or when the count is negative.
Result<std::vector<std::string>> decodeProcessArguments(std::span<const std::uint8_t> bytes);

}  // namespace hvk::decode
