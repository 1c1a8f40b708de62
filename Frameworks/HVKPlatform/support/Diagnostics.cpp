#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

SourceHealth::SourceHealth(std::string source, std::string purpose, std::string mend) {
    report_.source = std::move(source);
    report_.purpose = std::move(purpose);
    report_.mend = std::move(mend);
}

void SourceHealth::works() {
    std::lock_guard lock(mutex_);
    ++report_.readings;
    report_.failure.reset();
}

Failure SourceHealth::failed(Failure failure) {
    std::lock_guard lock(mutex_);
    ++report_.readings;
    ++report_.failures;
    report_.failure = failure;
    report_.lastFailure = failure;
    return failure;
}

void SourceHealth::note(std::string text) {
    std::lock_guard lock(mutex_);
    report_.note = std::move(text);
}

SourceReport SourceHealth::report() const {
    std::lock_guard lock(mutex_);
    return report_;
}

SourceHealth& Diagnostics::source(std::string source, std::string purpose, std::string mend) {
    std::lock_guard lock(mutex_);
    return sources_.emplace_back(std::move(source), std::move(purpose), std::move(mend));
}

std::vector<SourceReport> Diagnostics::reports() const {
    std::lock_guard lock(mutex_);
    std::vector<SourceReport> reports;
    reports.reserve(sources_.size());
    for (const SourceHealth& source : sources_) reports.push_back(source.report());
    return reports;
}

}  // namespace hvk
