// PropertyValue.h - property trees of Core Foundation as Values and back.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>

#include "HVKPlatform/Value.h"
#include "HVKPlatform/darwin/CFOwned.h"

namespace hvk {

/// The tree as a Value: data is binary, a set is an array, a date is seconds since 1970, a whole number is signed
/// 64-bit as Core Foundation keeps it, text is well-formed UTF-8 ('?' for what is not). Null for a null reference and
/// for a type that property trees do not have; a key that is no text is left out.
Value valueOfProperty(CFTypeRef property);

/// The text of a string, well-formed UTF-8.
std::string textOfString(CFStringRef string);

/// A Value as a property tree, for matching dictionaries; null when some text in it is not UTF-8. A null Value inside
/// a dictionary or an array becomes the null object.
CFOwned<CFTypeRef> propertyOfValue(const Value& value);

/// A text as a string; null when it is not UTF-8.
CFOwned<CFStringRef> stringOfText(const std::string& text);

}  // namespace hvk
