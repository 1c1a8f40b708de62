// DiskDescription.h - disk arbitration's description of a disk as a Value.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include "HVKPlatform/Value.h"

namespace hvk {

/// The dictionary with its own keys; a location becomes its path, an identifier its text, and what is neither those nor
/// a property is left out. An empty dictionary for null.
Value describeDisk(CFDictionaryRef description);

}  // namespace hvk
