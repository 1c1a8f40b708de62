// HVKStatisticsKit.h - everything that a host of the framework may use, in one include.
//
//     #include <HVKStatisticsKit/HVKStatisticsKit.h>
//
// Each header may also be included alone, e.g. "HVKStatistics/processor/HVKStatisticsCPU.h".
#pragma once

#include "HVKBase/Export.h"
#include "HVKBase/Resources.h"
#include "HVKLocalization/HVKLocalizedString.h"
#include "HVKLocalization/LocalizedBundle.h"
#include "HVKLocalization/StringTable.h"
#include "HVKLogger/DDLog.h"
#include "HVKPlatform/LiveMachine.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Result.h"
#include "HVKPlatform/Value.h"
#include "HVKPlatform/ports/Ciphers.h"
#include "HVKPlatform/ports/Digests.h"
#include "HVKPlatform/ports/ObjectException.h"
#include "HVKStatistics/HVKStatisticsFramework.h"
#include "HVKStatistics/categories/CommonCryptoErrorDomain.h"
#include "HVKStatistics/categories/CommonCryptor.h"
#include "HVKStatistics/categories/CommonDigest.h"
#include "HVKStatistics/categories/CommonHMAC.h"
#include "HVKStatistics/categories/DataOrText.h"
#include "HVKStatistics/categories/LowLevelCommonCryptor.h"
#include "HVKStatistics/categories/StatisticsHash.h"
#include "HVKStatistics/core/HVKStatisticsIOKitUtilities.h"
#include "HVKStatistics/core/HVKStatisticsOSVersion.h"
#include "HVKStatistics/core/HVKTryCatch.h"
#include "HVKStatistics/core/StatisticsAverage.h"
#include "HVKStatistics/core/StatisticsBundle.h"
#include "HVKStatistics/sensors/SMC.h"
#include "HVKStatistics/sensors/SMCSensors.h"
#include "HVKStatistics/sensors/SensorCatalogue.h"
#include "HVKStatistics/sensors/SensorGroup.h"
#include "HVKStatistics/sensors/StatisticsSensorItem.h"
