// The btcli driver: runs the external tool btcli with a script sent through
// a FIFO, keeps its output in 256 rows of 1024 bytes, and picks lines out of
// the firmware's log ring. It knows nothing of what the lines mean.
//
// Bounds the tool and the log cannot break: a run writes no row past the
// 256th (later lines are read and dropped), and a log read copies no row from
// past the end of its scratch ring.
#pragma once

#include "WiFiBtFactoryService.h"
#include "factory/StringList.h"

class CBtDriver {
public:
    static const int kRows = 256;
    static const int kRowSize = 1024;
    static constexpr const char* kFifo = "/dev/btcli_fifo";
    static constexpr const char* kToolCommand = "btcli -x/dev/btcli_fifo /dev/tavo_h4_0 h4 4000000";
    static constexpr const char* kLogSource = "/sys/kernel/debug/tavo/ring0/norlog";
    static constexpr const char* kLogSourceRetry = "/dev/norlog";
    // The command id whose runs keep the FIFO and the tool open; no caller passes it.
    static const int kKeepOpenFlag = 91;

    CBtDriver();
    ~CBtDriver();
    CBtDriver(const CBtDriver&) = delete;
    CBtDriver& operator=(const CBtDriver&) = delete;

    // Makes the FIFO (an existing one is used as it is) and the row buffer.
    // 0, 2 on a read-only file system, 4 when the buffer cannot be had.
    int OpenDriver();
    // Removes the FIFO and releases the buffer.
    int CloseDriver();
    char* GetBtCliResult() { return m_btcli_result; }

    // Runs the tool with the script; its output lines go to the rows from row
    // 0 on, and a line holding a trigger's string runs the trigger's callback.
    // 0, 1 when the tool cannot be run, 3 when the FIFO cannot be opened.
    int RunBtCli(const char* script, CStringList* triggers);
    int RunBtCli(const char* script, CStringList* triggers, THREAD_INFO* info);
    int RunBtCli(const char* script, CStringList* triggers, THREAD_INFO* info, int flag);
    int KillBtCli();

    // The newest log row holding `key` (not at its first character) with at
    // least count rows from it to the newest: that row and the count - 1 after
    // it go to out. Answers count, or 0 when no source or no such row.
    int GetBtLog(char (*out)[kRowSize], int count, const char* key);
    int GetBIT_ERR(char (*out)[kRowSize], int count) { return GetBtLog(out, count, "BIT_ERR[0]"); }
    int GetBlePktCnt(char (*out)[kRowSize], int count) { return GetBtLog(out, count, "pkt_count:"); }
    int GetRSSIReport(char (*out)[kRowSize], int count) { return GetBtLog(out, count, "RSSI_REPORT:"); }
    // The rows as GetBtLog's out.
    char (*Rows())[kRowSize] { return reinterpret_cast<char (*)[kRowSize]>(m_btcli_result); }

    // Runs a shell command and logs its output. 0, 6 when it cannot be run.
    int _RunShellCmd(const char* command);

private:
    char* m_btcli_result = nullptr;
};
