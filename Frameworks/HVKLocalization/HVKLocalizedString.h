// HVKLocalizedString.h - looking up a text for people.
#pragma once

#include <string>
#include <string_view>

#include "HVKBase/Export.h"
#include "HVKLocalization/LocalizedBundle.h"

namespace hvk {

/// The text for `key` in the string table `table` of a bundle, in the language that the bundle chooses; the key itself
/// when no table has it. `comment` is for translators and changes nothing. Thread: any.
HVK_EXPORT std::string HVKLocalizedStringFromTableInBundle(std::string_view key, std::string_view table,
                                                           const LocalizedBundle& bundle,
                                                           std::string_view comment = {});

}  // namespace hvk
