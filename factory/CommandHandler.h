// The command handler: classifies a command string by its prefix, runs the
// family's execute function on a detached worker from a ring of ten, and lets
// the caller poll until the worker is done or has answered early.
#pragma once

#include <signal.h>

#include <chrono>
#include <cstddef>

#include "WiFiBtFactoryService.h"
#include "factory/AtCommand.h"

class CWlanDutLib;
class CBtDutLib;
class CScanList;

// Command families, found by prefix.
enum AppFamily : int {
    APP_WIFI = 0,      // "AT+WIFI"
    APP_BT = 1,        // "AT+BTRF="
    APP_ATA_WIFI = 2,  // "ATA+WIFI="
    APP_ATA_BT = 3,    // "ATA+BT="
    APP_UNIT = 4,      // "UNIT="
    APP_UNKNOWN = 6,
};

// Results of SendCommand; the public entry point maps them.
enum SendResult : int {
    SEND_STARTED = 0,
    SEND_SLOT_BUSY = 1,
    SEND_THREAD_FAILED = 2,
    SEND_TIMEOUT = 3,  // reserved for the inactive time limit
    SEND_UNKNOWN = 6,
};

// Result of a DUT call as the AT execute functions see it.
enum DutResult : int {
    DUT_OK = 0,
    DUT_MISSING = 1,
    DUT_FAILED = 2,
    DUT_BAD_LONG_FORM = 3,
    DUT_BAD_VALUE = 4,
};

class CCommandHandler {
public:
    static constexpr int kRingSize = 10;
    static constexpr int kCmdLength = 64;
    static constexpr int kCmdNameSize = 10;
    static constexpr size_t kResultSize = WLBT_RESULT_BUFFER_SIZE;

    CCommandHandler(CWlanDutLib* wlan, CBtDutLib* bt);
    // Releases the ring entries whose workers have ended. Entries of workers
    // still running are left alone (they are the workers' own); see
    // WaitForWorkers.
    ~CCommandHandler();
    CCommandHandler(const CCommandHandler&) = delete;
    CCommandHandler& operator=(const CCommandHandler&) = delete;

    int SendCommand(const char* command, char* result, int timeout);
    int WaitResponse(char* result);
    int FindAppCommand(const char* command);
    void StartTimer(int timeout);

    static void* CommandHandler_Thread(void* info);
    static void TimeoutHandler(int signum, siginfo_t* info, void* context);

    int GetAppID() const { return m_app_id; }
    char* GetCopiedCmd() { return m_copied_cmd; }
    char* GetResultBuffer() const { return m_result_buffer; }
    THREAD_INFO* GetThreadInfo() const { return m_thread_info[m_thread_index]; }
    bool isEarlyResp() const;
    void SetIsTimeout(bool value) { m_is_timeout = value; }
    void SetEarlyResponse(bool value);

    bool IsTimeout() const { return m_is_timeout; }
    bool IsWifiRf() const { return m_is_wifirf; }
    const char* GetCmdName() const { return m_cmd_name; }
    int GetThreadIndex() const { return m_thread_index; }
    THREAD_INFO* GetThreadInfoAt(int slot) const;

    // Waits until no ring entry has a running worker, at most `limit`.
    // Returns false when some worker still runs.
    bool WaitForWorkers(std::chrono::milliseconds limit) const;

    // Grammar and result strings.
    AT_COMMAND BuildATCommand(const char* command, int count, int pos);
    int FindAtCommandId(AT_COMMAND* command, const AT_COMMAND* table);
    // Field `index` (from 0, comma separated, starting at `pos`) into `out`,
    // which holds `out_size` bytes; a longer field is cut to fit.
    bool GetDataString(const char* command, int index, int pos, char* out, size_t out_size);
    const char* GetParamPos(const char* command, int n);
    bool GetIntParam(const char* text, int pos, int len, int& value);
    void BuildResultString(const char* command, int type, int id, int result, int value1,
                           int value2, char* out);

    // Execute functions, one per family, run on the worker.
    int ExecuteATCommand_WiFi(const char* command, char* result);
    int ExecuteATCommand_BT(const char* command, char* result);
    int ExecuteATACommand_WiFi(const char* command, char* result);
    int ExecuteATACommand_BT(const char* command, char* result);
    int ExecuteUnitTest(const char* command, char* result);

    // "NG" for an empty list, else "OK:" and up to ten "name,number"
    // entries joined by ';'. The nodes written are taken from the list.
    void BuildScanResultString(const char* command, int type, CScanList& list, char* out);

    // Reply code of a DUT result: 0 stays 0, 1 gives 4, 2 gives 5, others 6.
    static int MapDutResult(int dutResult);

private:
    friend class CCommandHandlerTestPeer;

    int RunWiFiCommand(int id, const AT_COMMAND& cmd, const char* command, char* result, int& value1, int& value2);
    // The DUT result of one Bluetooth row; m_bt_dut is set.
    int RunBtCommand(int id, const AT_COMMAND& cmd, const char* command, char* result);

    CWlanDutLib* m_wlan_dut;
    CBtDutLib* m_bt_dut;
    THREAD_INFO* m_thread_info[kRingSize];
    int m_thread_index;
    bool m_is_timeout;
    bool m_early_response;
    int m_app_id;
    // One byte more than the 64 the copy fills: a 64-character command is
    // not terminated by the copy, and the guard byte keeps every reader of
    // the copy inside the object.
    char m_copied_cmd[kCmdLength + 1];
    char* m_result_buffer;
    bool m_is_wifirf;
    char m_cmd_name[kCmdNameSize];
};
