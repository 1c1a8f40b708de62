#include "HVKStatistics/processes/ProcessMetric.h"

namespace hvk {

std::string_view processMetricName(ProcessMetric metric) {
    switch (metric) {
        case ProcessMetric::CPU: return "cpu";
        case ProcessMetric::Memory: return "memory";
        case ProcessMetric::Power: return "power";
        case ProcessMetric::Energy: return "energy";
        case ProcessMetric::NetworkUpload: return "network-upload";
        case ProcessMetric::NetworkDownload: return "network-download";
        case ProcessMetric::DiskRead: return "diskactivity-read";
        case ProcessMetric::DiskWrite: return "diskactivity-write";
    }
    return {};
}

double processMetricValue(const StatisticsProcessItem& item, ProcessMetric metric) {
    switch (metric) {
        case ProcessMetric::CPU: return item.cpu;
        case ProcessMetric::Memory: return static_cast<double>(item.memory.load());
        case ProcessMetric::Power: return item.power;
        case ProcessMetric::Energy: return item.energy;
        case ProcessMetric::NetworkUpload: return item.networkUpload;
        case ProcessMetric::NetworkDownload: return item.networkDownload;
        case ProcessMetric::DiskRead: return item.diskRead;
        case ProcessMetric::DiskWrite: return item.diskWrite;
    }
    return 0;
}

}  // namespace hvk
