// RegistryMatching.h - reads an entry of a TreeRegistry and decides whether it is what somebody looks for.
//
// It knows the descriptions only: no tree, no handles, no lock. Thread: any.
#pragma once

#include <string>

#include "HVKPlatform/support/TreeRegistry.h"

namespace hvk {

/// The whole dictionary of an entry, empty when it has no properties. Malformed when the entry's function answers
/// something that is no dictionary, or throws.
Result<Value> readProperties(const TreeRegistry::Description& description);

/// One property; Absent when the entry has none of that name.
Result<Value> readProperty(const TreeRegistry::Description& description, const std::string& key);

/// Whether an entry other than the root is of a class or of one that derives from it.
bool isOfClass(const TreeRegistry::Description& description, const std::string& className);

/// Whether an entry other than the root is what `match` asks for. A property that cannot be read equals nothing.
bool matchesService(const TreeRegistry::Description& description, const RegistryMatch& match);

}  // namespace hvk
