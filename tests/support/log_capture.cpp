#include "support/log_capture.h"

#include <algorithm>

namespace testsupport {

LogCapture::LogCapture() {
    plat::SetLogSink(&LogCapture::Sink, this, &prevFn_, &prevCtx_);
}

LogCapture::~LogCapture() {
    plat::SetLogSink(prevFn_, prevCtx_);
}

void LogCapture::Sink(const plat::LogRecord& record, void* ctx) {
    auto* self = static_cast<LogCapture*>(ctx);
    std::lock_guard<std::mutex> lock(self->mutex_);
    self->records_.push_back(record);
    self->changed_.notify_all();
}

std::vector<plat::LogRecord> LogCapture::Records() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return records_;
}

std::vector<std::string> LogCapture::Texts(const std::string& tag) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> out;
    for (const auto& r : records_) if (r.tag == tag) out.push_back(r.text);
    return out;
}

bool LogCapture::Contains(const std::string& tag, const std::string& text) const {
    return WaitForText(tag, text, std::chrono::milliseconds(0));
}

void LogCapture::Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    records_.clear();
}

bool LogCapture::WaitForText(const std::string& tag, const std::string& text,
                             std::chrono::milliseconds limit) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [&] {
        return std::any_of(records_.begin(), records_.end(),
                           [&](const plat::LogRecord& r) { return r.tag == tag && r.text == text; });
    });
}

}  // namespace testsupport
