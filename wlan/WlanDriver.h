// The WLAN side's contact with the kernel: takes the network interface up and
// down through a datagram socket, switches the chip between its normal and
// its radio-test firmware by kernel module parameters, and scans for access
// points with the `iw` tool.
#pragma once

#include <cstddef>

class CScanList;

// The interface every flag operation names. The scan command names "wlan0"
// literally and does not follow it.
extern const char* IW_INTERFACE;

class CWlanDriver {
public:
    // Size of the buffer that holds the scan tool's text.
    static constexpr size_t kScanOutputSize = 0x100000;

    // Return codes.
    static constexpr int kOk = 0;
    static constexpr int kSocketError = 1;  // also: a shell command could not start
    static constexpr int kCloseError = 2;
    static constexpr int kIoctlError = 4;
    static constexpr int kLockTimeout = 5;
    static constexpr int kScanToolError = 9;

    CWlanDriver();
    ~CWlanDriver();
    CWlanDriver(const CWlanDriver&) = delete;
    CWlanDriver& operator=(const CWlanDriver&) = delete;

    int OpenDriver(int domain);
    int CloseDriver();
    int EnableInterface();
    int DisableInterface();
    // 0 when the test firmware is selected, 1 for any other, -1 unreadable.
    int CheckCurrentFwMode();
    // 0 switches to the test firmware, 1 to the normal firmware.
    int SetMode(int mode);
    int StartScan();
    int GetScanResult(CScanList& list);
    int _RunShellCmd(const char* command);

    // For tests and diagnostics.
    int GetSocket() const { return drvsock; }
    const char* GetScanOutput() const { return scan_output; }
    bool IsScanLocked() const;

private:
    int SetInterfaceUp(bool up);
    int _StartScan_IW();
    int _GetScanResult_IW(CScanList& list);

    int drvsock;
    char* scan_output;
    bool scan_lock;
};
