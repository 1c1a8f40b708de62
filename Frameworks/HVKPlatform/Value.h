// Value.h - the dynamic value at the borders of the framework: property trees, `stats`, averages, recordings.
//
// Inside a module records are typed; a Value is made only when a host asks for a dictionary or a registry entry is
// read. Binary data ("data" properties of a registry) is the library's own binary kind; nil is the null Value.
#pragma once

#include <nlohmann/json.hpp>

namespace hvk {

/// A null, boolean, number, text, binary, array or dictionary. Prints as JSON.
using Value = nlohmann::json;

}  // namespace hvk
