#include "platform/log_sink.h"

#include <android/log.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <vector>

namespace plat {
namespace {

std::mutex& SinkMutex() {
    static std::mutex m;
    return m;
}

LogSinkFn g_fn = nullptr;
void* g_ctx = nullptr;

// The TAVO_LOG sink, opened on first use.
struct EnvSink {
    FILE* out = nullptr;
    bool owned = false;
    EnvSink() {
        const char* where = std::getenv("TAVO_LOG");
        if (where == nullptr || *where == '\0') return;
        if (std::strcmp(where, "-") == 0 || std::strcmp(where, "stderr") == 0) {
            out = stderr;
        } else {
            out = std::fopen(where, "a");
            owned = out != nullptr;
        }
    }
    ~EnvSink() {
        if (owned) std::fclose(out);
    }
};

void WriteToEnvSink(const LogRecord& record) {
    static EnvSink sink;
    if (sink.out == nullptr) return;
    const std::string line = FormatLogcat(record, static_cast<long>(getpid()));
    std::fputs(line.c_str(), sink.out);
    std::fflush(sink.out);
}

}  // namespace

char PriorityLetter(int prio) {
    static const char letters[] = "??VDIWEFS";
    if (prio < 0 || prio > ANDROID_LOG_SILENT) return '?';
    return letters[prio];
}

std::string FormatLogcat(const LogRecord& record, long pid) {
    std::string text = record.text;
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    char head[128];
    std::snprintf(head, sizeof head, "%c/%s(%ld): ", PriorityLetter(record.prio),
                  record.tag.c_str(), pid);
    std::string out;
    size_t start = 0;
    for (;;) {
        const size_t end = text.find('\n', start);
        out += head;
        out.append(text, start, end == std::string::npos ? std::string::npos : end - start);
        out += '\n';
        if (end == std::string::npos) break;
        start = end + 1;
    }
    return out;
}

void SetLogSink(LogSinkFn fn, void* ctx, LogSinkFn* prevFn, void** prevCtx) {
    std::lock_guard<std::mutex> lock(SinkMutex());
    if (prevFn != nullptr) *prevFn = g_fn;
    if (prevCtx != nullptr) *prevCtx = g_ctx;
    g_fn = fn;
    g_ctx = ctx;
}

}  // namespace plat

extern "C" int __android_log_write(int prio, const char* tag, const char* text) {
    plat::LogRecord record{prio, tag != nullptr ? tag : "", text != nullptr ? text : ""};
    std::lock_guard<std::mutex> lock(plat::SinkMutex());
    if (plat::g_fn != nullptr) {
        plat::g_fn(record, plat::g_ctx);
    } else {
        plat::WriteToEnvSink(record);
    }
    return 1;
}

extern "C" int __android_log_vprint(int prio, const char* tag, const char* fmt, va_list ap) {
    if (fmt == nullptr) return __android_log_write(prio, tag, "");
    char small[1024];
    va_list copy;
    va_copy(copy, ap);
    const int n = std::vsnprintf(small, sizeof small, fmt, copy);
    va_end(copy);
    if (n < 0) return __android_log_write(prio, tag, "");
    if (static_cast<size_t>(n) < sizeof small) return __android_log_write(prio, tag, small);
    std::vector<char> big(static_cast<size_t>(n) + 1);
    std::vsnprintf(big.data(), big.size(), fmt, ap);
    return __android_log_write(prio, tag, big.data());
}

extern "C" int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const int r = __android_log_vprint(prio, tag, fmt, ap);
    va_end(ap);
    return r;
}
