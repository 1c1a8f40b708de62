#include "HVKLocalization/HVKLocalizedString.h"

namespace hvk {

std::string HVKLocalizedStringFromTableInBundle(std::string_view key, std::string_view table,
                                                const LocalizedBundle& bundle, std::string_view) {
    return bundle.localizedString(key, table);
}

}  // namespace hvk
