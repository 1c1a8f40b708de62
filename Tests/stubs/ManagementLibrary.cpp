// A graphics vendor's management library with one device, for tests: a library of its own that is opened by name.
//
// HVK_STUB_FAILS in the environment names a function that answers an error; "nvmlInit_v2=4" says which.

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int NotFound = 6;
constexpr int NotSupported = 3;
int device;

int answer(const char* function) {
    const char* fails = std::getenv("HVK_STUB_FAILS");
    const std::size_t length = std::strlen(function);
    if (fails == nullptr || std::strncmp(fails, function, length) != 0 || fails[length] != '=') return 0;
    return std::atoi(fails + length + 1);
}

template <class Number>
int give(const char* function, Number* to, Number value) {
    const int code = answer(function);
    if (code == 0) *to = value;
    return code;
}

}  // namespace

#define STUB extern "C" __attribute__((visibility("default")))

STUB int nvmlInit_v2() { return answer("nvmlInit_v2"); }
STUB const char* nvmlErrorString(int code) { return code == NotFound ? "Not Found" : "Another Error"; }
STUB int nvmlDeviceGetHandleByPciBusId_v2(const char* address, void** to) {
    if (std::strcmp(address, "0000:01:00.0") != 0) return NotFound;
    *to = &device;
    return answer("nvmlDeviceGetHandleByPciBusId_v2");
}
STUB int nvmlDeviceGetName(void*, char* to, unsigned size) {
    std::snprintf(to, size, "Example 3060");
    return answer("nvmlDeviceGetName");
}
STUB int nvmlDeviceGetUtilizationRates(void*, unsigned* to) {
    to[0] = 37;
    to[1] = 12;
    return answer("nvmlDeviceGetUtilizationRates");
}
STUB int nvmlDeviceGetMemoryInfo(void*, unsigned long long* to) {
    to[0] = 12ULL << 30;
    to[1] = 9ULL << 30;
    to[2] = 3ULL << 30;
    return answer("nvmlDeviceGetMemoryInfo");
}
STUB int nvmlDeviceGetClockInfo(void*, unsigned clock, unsigned* to) {
    return give("nvmlDeviceGetClockInfo", to, clock == 0 ? 1777U : 7501U);
}
STUB int nvmlDeviceGetFanSpeed(void*, unsigned*) { return NotSupported; }
STUB int nvmlDeviceGetPowerUsage(void*, unsigned* to) { return give("nvmlDeviceGetPowerUsage", to, 41500U); }
STUB int nvmlDeviceGetTemperature(void*, unsigned, unsigned* to) { return give("nvmlDeviceGetTemperature", to, 54U); }
