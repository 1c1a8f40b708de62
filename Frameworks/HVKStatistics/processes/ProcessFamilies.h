// ProcessFamilies.h - the rules of the families: which process is the head of another.
//
// A helper counts as part of the service or application that it helps; what a person started from a shell does not
// count as part of the terminal. Names are compared exactly, letter case included. Thread: the sampling thread.
#pragma once

#include <cstdint>

#include "HVKBase/Export.h"
#include "HVKStatistics/processes/StatisticsProcessList.h"

namespace hvk {

/// What a name says; bits of `StatisticsProcessItem::familyRules`.
enum ProcessFamilyRule : std::uint32_t {
    ProcessFamilyRuleKnown = 1,                 ///< the name was looked at
    ProcessFamilyRuleOfSpotlight = 2,           ///< an indexer: hangs under Spotlight
    ProcessFamilyRuleOfNotificationCenter = 4,  ///< a notification service
    ProcessFamilyRuleOfSafari = 8,              ///< a service of the same user's Safari
    ProcessFamilyRuleAlone = 16,                ///< never hangs under anything
    ProcessFamilyRuleTakesAnyParent = 32,       ///< "sh": joins whatever started it
    ProcessFamilyRuleAbsorbsNothing = 64,  ///< a shell, interpreter or launcher: what it starts is a row of its own
};

/// The rules for the name of an item; remembered on it.
HVK_EXPORT std::uint32_t familyRules(StatisticsProcessItem& item);

/// The processes that services hang under. Null when there is none.
struct ProcessServiceHeads {
    /// The first process whose type has bit 4. One that is itself an indexer comes after all that are not, so that the
    /// indexers gather under the application.
    StatisticsProcessItem* spotlight = nullptr;
    /// The first whose type has bit 64.
    StatisticsProcessItem* notificationCenter = nullptr;
};

/// Finds them in one pass over the list.
HVK_EXPORT ProcessServiceHeads serviceHeads(const StatisticsProcessList& processes);

/// The first process whose type has bit 8 and whose user is `user`; null when there is none.
HVK_EXPORT StatisticsProcessItem* safariOfUser(const StatisticsProcessList& processes, std::uint32_t user);

/// The process that started the item, else the one responsible for it, when that one takes the item into its family:
/// neither may be the item itself, the kernel, launchd or unreadable, and shells, interpreters and launchers take only
/// "sh". Null for a row of its own.
HVK_EXPORT StatisticsProcessItem* familyParent(const StatisticsProcessList& processes, StatisticsProcessItem& item);

}  // namespace hvk
