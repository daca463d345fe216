#include "factory/CommandHandler.h"

#include <signal.h>
#include <unistd.h>

#include <cstring>

#include "factory/ThreadFlags.h"
#include "factory/factory_log.h"

namespace {

struct AppCommand {
    const char* prefix;
    int length;
    int family;
    const char* dispatchLog;
};

// Searched from the top; the first prefix that matches over its length wins.
const AppCommand app_cmd_list[] = {
    {"AT+WIFI", 7, APP_WIFI, "WIFI Command: %s\n"},
    {"AT+BTRF=", 8, APP_BT, "BT Command: %s\n"},
    {"ATA+WIFI=", 9, APP_ATA_WIFI, "ATA WIFI Command: %s\n"},
    {"ATA+BT=", 7, APP_ATA_BT, "ATA BT Command: %s\n"},
    {"UNIT=", 5, APP_UNIT, "UNIT Test Command: %s\n"},
};

const AppCommand* FindFamilyRow(int family) {
    for (const AppCommand& row : app_cmd_list) {
        if (row.family == family) return &row;
    }
    return nullptr;
}

}  // namespace

CCommandHandler::CCommandHandler(CWlanDutLib* wlan, CBtDutLib* bt)
    : m_wlan_dut(wlan),
      m_bt_dut(bt),
      m_thread_info{},
      m_thread_index(0),
      m_is_timeout(false),
      m_early_response(false),
      m_app_id(APP_UNKNOWN),
      m_copied_cmd{},
      m_result_buffer(nullptr),
      m_is_wifirf(false),
      m_cmd_name{} {}

CCommandHandler::~CCommandHandler() {
    for (THREAD_INFO*& entry : m_thread_info) {
        if (entry != nullptr && !ThreadRunning(entry)) {
            delete entry;
            entry = nullptr;
        }
    }
}

bool CCommandHandler::isEarlyResp() const {
    return LoadFlag(&m_early_response);
}

void CCommandHandler::SetEarlyResponse(bool value) {
    StoreFlag(&m_early_response, value);
}

THREAD_INFO* CCommandHandler::GetThreadInfoAt(int slot) const {
    if (slot < 0 || slot >= kRingSize) return nullptr;
    return m_thread_info[slot];
}

bool CCommandHandler::WaitForWorkers(std::chrono::milliseconds limit) const {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        bool anyRunning = false;
        for (const THREAD_INFO* entry : m_thread_info) {
            if (ThreadRunning(entry)) anyRunning = true;
        }
        if (!anyRunning) return true;
        if (std::chrono::steady_clock::now() >= deadline) return false;
        usleep(1000);
    }
}

int CCommandHandler::FindAppCommand(const char* command) {
    int family = APP_UNKNOWN;
    for (const AppCommand& row : app_cmd_list) {
        if (std::strncmp(command, row.prefix, static_cast<size_t>(row.length)) == 0) {
            family = row.family;
            break;
        }
    }
    if (family != APP_WIFI) return family;

    const char* rf = std::strstr(command, "+WIFIRF=");
    std::memset(m_cmd_name, 0, sizeof m_cmd_name);
    if (rf != nullptr) {
        m_is_wifirf = true;
        std::memcpy(m_cmd_name, rf + 1, 6);
        return APP_WIFI;
    }
    m_is_wifirf = false;
    const char* plus = std::strstr(command, "+WIFI");
    const char* equals = std::strchr(command, '=');
    if (plus == nullptr || equals == nullptr) return APP_UNKNOWN;
    // The reply echoes the name between '+' and '='. The name field holds
    // nine characters and a terminator; a longer name is cut to fit.
    const char* name = plus + 1;
    size_t length = equals > name ? static_cast<size_t>(equals - name) : 0;
    if (length > sizeof m_cmd_name - 1) length = sizeof m_cmd_name - 1;
    std::memcpy(m_cmd_name, name, length);
    return APP_WIFI;
}

int CCommandHandler::SendCommand(const char* command, char* result, int timeout) {
    m_thread_index = (m_thread_index + 1) % kRingSize;
    THREAD_INFO*& slot = m_thread_info[m_thread_index];
    if (slot != nullptr) {
        const bool running = ThreadRunning(slot);
        FLOG(TAG_COMMAND_HANDLER, "thread slot [%d] is not empty (%s)", m_thread_index,
             running ? "R" : "S");
        if (running) return SEND_SLOT_BUSY;
        delete slot;
        slot = nullptr;
    }
    slot = new THREAD_INFO();

    m_app_id = FindAppCommand(command);
    const AppCommand* row = FindFamilyRow(m_app_id);
    if (row == nullptr) {
        FLOG(TAG_COMMAND_HANDLER, "Unkonw Command: %s\n", command);
        delete slot;
        slot = nullptr;
        std::memcpy(result, "NG", 3);
        return SEND_UNKNOWN;
    }
    FLOG(TAG_COMMAND_HANDLER, row->dispatchLog, command);

    std::strncpy(m_copied_cmd, command, kCmdLength);
    m_copied_cmd[kCmdLength] = '\0';
    m_result_buffer = result;
    m_is_timeout = false;
    SetEarlyResponse(false);

    slot->thread_func = &CCommandHandler::CommandHandler_Thread;
    slot->thread_arg = this;
    SetThreadRunning(slot, true);
    FLOG(TAG_COMMAND_HANDLER, "Creating Thread : %d\n", m_thread_index);
    if (factory_thread_create(slot) != 0) {
        SetThreadRunning(slot, false);
        FLOG(TAG_COMMAND_HANDLER, "Fail to Create the command thread\n");
        return SEND_THREAD_FAILED;
    }
    StartTimer(timeout);
    return SEND_STARTED;
}

int CCommandHandler::WaitResponse(char* /*result*/) {
    THREAD_INFO*& slot = m_thread_info[m_thread_index];
    while (ThreadRunning(slot) && !isEarlyResp()) usleep(10);
    if (!isEarlyResp() && slot != nullptr) {
        delete slot;
        slot = nullptr;
    }
    return 0;
}

// The command time limit is kept in the design's shape but inactive: the
// timeout argument ends here and no timer is ever created.
void CCommandHandler::StartTimer(int /*timeout*/) {}

void* CCommandHandler::CommandHandler_Thread(void* arg) {
    auto* info = static_cast<THREAD_INFO*>(arg);
    auto* handler = static_cast<CCommandHandler*>(info->thread_arg);
    // The stop handler is not installed here: factory_thread_kill puts it
    // in place for the moment of a stop, so that a command never changes
    // the host process's own SIGSEGV handling.

    const int app = handler->GetAppID();
    const char* command = handler->GetCopiedCmd();
    char* result = handler->GetResultBuffer();
    switch (app) {
        case APP_WIFI: handler->ExecuteATCommand_WiFi(command, result); break;
        case APP_BT: handler->ExecuteATCommand_BT(command, result); break;
        case APP_ATA_WIFI: handler->ExecuteATACommand_WiFi(command, result); break;
        case APP_ATA_BT: handler->ExecuteATACommand_BT(command, result); break;
        case APP_UNIT: handler->ExecuteUnitTest(command, result); break;
        default: break;
    }
    // The worker's last access to its ring entry.
    SetThreadRunning(info, false);
    return nullptr;
}

// Meant for a POSIX timer delivering SIGUSR1 with the handler in si_value;
// nothing installs it while the time limit is inactive.
void CCommandHandler::TimeoutHandler(int signum, siginfo_t* info, void* /*context*/) {
    if (signum != SIGUSR1 || info == nullptr) return;
    auto* handler = static_cast<CCommandHandler*>(info->si_value.sival_ptr);
    if (handler == nullptr) return;
    FLOG(TAG_COMMAND_HANDLER, "TIMEOUT");
    // 0 is factory_thread_kill's success: the stopped worker may not have
    // reached its end, and that is what the line warns of.
    if (factory_thread_kill(handler->GetThreadInfo()) == 0) {
        FLOG(TAG_COMMAND_HANDLER, "[FAULT] Thread might be working still...");
    }
    handler->SetIsTimeout(true);
}
