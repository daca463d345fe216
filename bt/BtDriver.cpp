#include "bt/BtDriver.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "factory/FactoryUtil.h"
#include "platform/platform.h"

#include <android/log.h>

#define BLOG(...) __android_log_print(ANDROID_LOG_VERBOSE, "BT_DRIVER", __VA_ARGS__)

CBtDriver::CBtDriver() = default;

CBtDriver::~CBtDriver() { CloseDriver(); }

int CBtDriver::OpenDriver() {
    if (plat::Mkfifo(kFifo, 0666) != 0) {
        if (errno == EEXIST) {
            BLOG("FIFO is already exist!\n");
        } else if (errno == EROFS) {
            BLOG("Read-only FS: Cannot create the fifo\n");
            return 2;
        }
    }
    if (m_btcli_result != nullptr) {
        return 0;
    }
    // Zeroed, so that a row read before any run is empty text rather than
    // whatever the allocator left.
    m_btcli_result = new (std::nothrow) char[kRows * kRowSize]();
    if (m_btcli_result == nullptr) {
        BLOG("BTCLI: Memory allocation failure\n");
        return 4;
    }
    return 0;
}

int CBtDriver::CloseDriver() {
    plat::Unlink(kFifo);
    delete[] m_btcli_result;
    m_btcli_result = nullptr;
    return 0;
}

int CBtDriver::RunBtCli(const char* script, CStringList* triggers) { return RunBtCli(script, triggers, nullptr, 0); }

int CBtDriver::RunBtCli(const char* script, CStringList* triggers, THREAD_INFO*) {
    // This form has never handed the callback lock on.
    return RunBtCli(script, triggers, nullptr, 0);
}

int CBtDriver::RunBtCli(const char* script, CStringList* triggers, THREAD_INFO* info, int flag) {
    FILE* tool = plat::Popen(kToolCommand, "r");
    if (tool == nullptr) {
        BLOG("Fail to run the command\n");
        return 1;
    }
    usleep(500000);  // for the tool to start and open the FIFO
    const int fifo = plat::Open(kFifo, O_RDWR | O_NONBLOCK);
    if (fifo <= 0) {
        BLOG("No BT FIFO\n");
        return 3;
    }
    ssize_t ignored = write(fifo, script, std::strlen(script));
    (void)ignored;
    if (flag != kKeepOpenFlag) {
        BLOG("close()\n");
        plat::Close(fifo);
    } else {
        BLOG("Skip close()\n");
    }
    char line[kRowSize];
    int row = 0;
    while (std::fgets(line, sizeof line, tool) != nullptr) {
        BLOG("%s", line);
        if (info != nullptr) {
            pthread_mutex_lock(&info->mutex);
        }
        // Lines past the last row are read, so the tool can end, and dropped.
        if (row < kRows && m_btcli_result != nullptr) {
            std::memcpy(m_btcli_result + row * kRowSize, line, std::strlen(line) + 1);
        }
        ++row;
        if (triggers != nullptr) {
            STRING_NODE* node = triggers->IsStringExist(line);
            if (node != nullptr && node->callback != nullptr) {
                node->callback(node->arg);
            }
        }
        if (info != nullptr) {
            pthread_mutex_unlock(&info->mutex);
        }
        sched_yield();
    }
    if (flag != kKeepOpenFlag) {
        BLOG("pclose\n");
        plat::Pclose(tool);
    } else {
        BLOG("Skip pclose\n");
    }
    return 0;
}

int CBtDriver::KillBtCli() {
    KillProcess("btcli");
    return 0;
}

int CBtDriver::GetBtLog(char (*out)[kRowSize], int count, const char* key) {
    FILE* source = plat::Fopen(kLogSource, "r");
    if (source == nullptr) {
        BLOG("Rk logger open retry : %s\n", kLogSourceRetry);
        source = plat::Fopen(kLogSourceRetry, "r");
        if (source == nullptr) {
            BLOG("Rk logger open error\n");
            return 0;
        }
    }
    std::unique_ptr<char[][kRowSize]> ring(new char[kRows][kRowSize]());
    int position = 0;
    while (std::fgets(ring[position], kRowSize, source) != nullptr) {
        position = (position + 1) % kRows;
    }
    std::fclose(source);
    // Backwards from the row about to be overwritten, then the newest, on
    // towards the oldest.
    for (int cursor = position; cursor != (position + 1) % kRows; cursor = (cursor + kRows - 1) % kRows) {
        if (ring[cursor][0] == '\0' || findString(ring[cursor], key) <= 0) {
            continue;
        }
        if ((position - cursor + kRows) % kRows < count) {
            continue;  // too close to the end: an older one is taken
        }
        // The rows follow on in the ring; none is read past its end.
        int copied = 0;
        for (; copied < count && cursor + copied < kRows; ++copied) {
            std::memcpy(out[copied], ring[cursor + copied], kRowSize);
            BLOG("::::: %s\n", out[copied]);
        }
        return copied;
    }
    return 0;
}

int CBtDriver::_RunShellCmd(const char* command) {
    FILE* pipe = plat::Popen(command, "r");
    if (pipe == nullptr) {
        return 6;
    }
    char line[kRowSize];
    while (std::fgets(line, sizeof line, pipe) != nullptr) {
        BLOG("%s\n", line);
    }
    plat::Pclose(pipe);
    return 0;
}
