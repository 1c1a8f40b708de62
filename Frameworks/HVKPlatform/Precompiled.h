// Precompiled.h - the heavy headers that most sources see anyway; compiled once. No source relies on it.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>
