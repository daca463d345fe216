// Captures the library's Android log lines for assertions.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "platform/log_sink.h"

namespace testsupport {

class LogCapture {
public:
    LogCapture();
    ~LogCapture();

    std::vector<plat::LogRecord> Records() const;
    // Texts logged under `tag`, in order.
    std::vector<std::string> Texts(const std::string& tag) const;
    bool Contains(const std::string& tag, const std::string& text) const;
    void Clear();
    // Waits until `text` is logged under `tag`, at most `limit`.
    bool WaitForText(const std::string& tag, const std::string& text, std::chrono::milliseconds limit) const;

private:
    static void Sink(const plat::LogRecord& record, void* ctx);

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<plat::LogRecord> records_;
    plat::LogSinkFn prevFn_ = nullptr;
    void* prevCtx_ = nullptr;
};

}  // namespace testsupport
