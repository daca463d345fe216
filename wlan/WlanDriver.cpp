#include "wlan/WlanDriver.h"

#include <android/log.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "WiFiBtFactoryService.h"
#include "factory/AutoLock.h"
#include "factory/FactoryUtil.h"
#include "factory/ScanList.h"
#include "factory/ThreadFlags.h"
#include "platform/platform.h"

#define WLOG(...) __android_log_print(ANDROID_LOG_VERBOSE, "WLAN_DRIVER", __VA_ARGS__)

const char* IW_INTERFACE = "wlan0";

namespace {

const char* const kFwVariantPath = "/sys/module/tavo_rk/parameters/firmware_variant";

// Two rows of eight: the test firmware, then the normal firmware. Bluetooth
// is disabled and then crashed on purpose so that the firmware restarts
// with the variant just written; the way back has no crash step.
const char* const kModeCommands[16] = {
    "echo 0 > /sys/module/tavo_rk/parameters/enable_auto_sense",
    "echo 1 > /sys/module/tavo_rk/parameters/use_new_fw_structure",
    "echo -n \"rk720_t\" > /sys/module/tavo_rk/parameters/firmware_variant",
    "echo 1 > /sys/module/tavo_wlan/parameters/EnableTestMode",
    "echo Y > /sys/module/tavo_bt/parameters/disable_service",
    "echo 0xDEADDEAD > /sys/module/tavo_bt/parameters/force_crash",
    "sleep 1",
    "[ -f /proc/driver/rk720_clk0/restart ] && echo Y > /proc/driver/rk720_clk0/restart",

    "echo -n \"rk720\" > /sys/module/tavo_rk/parameters/firmware_variant",
    "echo 0 > /sys/module/tavo_wlan/parameters/EnableTestMode",
    "echo 1 > /sys/module/tavo_rk/parameters/enable_auto_sense",
    "echo N > /sys/module/tavo_bt/parameters/disable_service",
    "sleep 1",
    "[ -f /proc/driver/rk720_clk0/restart ] && echo Y > /proc/driver/rk720_clk0/restart",
    nullptr,
    nullptr,
};

}  // namespace

CWlanDriver::CWlanDriver()
    : drvsock(-1), scan_output(new (std::nothrow) char[kScanOutputSize]), scan_lock(false) {
    if (scan_output != nullptr) std::memset(scan_output, 0, kScanOutputSize);
}

CWlanDriver::~CWlanDriver() {
    CloseDriver();
    delete[] scan_output;
    scan_output = nullptr;
    StoreFlag(&scan_lock, false);
}

bool CWlanDriver::IsScanLocked() const {
    return LoadFlag(&scan_lock);
}

int CWlanDriver::OpenDriver(int domain) {
    StoreFlag(&scan_lock, false);
    if (drvsock < 1) {
        drvsock = plat::Socket(domain, SOCK_DGRAM, 0);
        if (drvsock < 0) {
            WLOG("Socket open Error %d\n", drvsock);
            return kSocketError;
        }
    } else {
        WLOG("Socket is already open \n");
    }
    return kOk;
}

int CWlanDriver::CloseDriver() {
    StoreFlag(&scan_lock, false);
    if (drvsock >= 1) {
        const int rc = plat::Close(drvsock);
        if (rc < 0) {
            WLOG("Socket close Error %d\n", rc);
            return kCloseError;
        }
        drvsock = -1;
    } else {
        WLOG("Socket was not open\n");
    }
    return kOk;
}

namespace {

// The two flag operations log differently, and the difference is kept:
// enabling prints errno and a line end after the flags, disabling neither.
struct InterfaceTexts {
    const char* signature;
    const char* getFailed;
    const char* flags;
    const char* setFailed;
};

const InterfaceTexts kEnableTexts = {"int CWlanDriver::EnableInterface()",
                                     "%s: ioctl(drvsock, SIOCGIFFLAGS, &ifr) %d %d\n", "flag : 0x%04x\n",
                                     "%s: ioctl(drvsock, SIOCSIFFLAGS, &ifr) %d %d\n"};
const InterfaceTexts kDisableTexts = {"int CWlanDriver::DisableInterface()",
                                      "%s: ioctl(drvsock, SIOCGIFFLAGS, &ifr) %d\n", "flag : 0x%04x",
                                      "%s: ioctl(drvsock, SIOCSIFFLAGS, &ifr) %d"};

}  // namespace

int CWlanDriver::EnableInterface() {
    return SetInterfaceUp(true);
}

int CWlanDriver::DisableInterface() {
    return SetInterfaceUp(false);
}

int CWlanDriver::SetInterfaceUp(bool up) {
    const InterfaceTexts& texts = up ? kEnableTexts : kDisableTexts;
    if (OpenDriver(AF_INET) != kOk) {
        WLOG("Socket open Error %d\n", drvsock);
        return kSocketError;
    }
    struct ifreq ifr;
    std::memset(&ifr, 0, sizeof ifr);
    std::strncpy(ifr.ifr_name, IW_INTERFACE, IFNAMSIZ);
    ifr.ifr_name[IFNAMSIZ - 1] = '\0';
    int rc = plat::Ioctl(drvsock, SIOCGIFFLAGS, &ifr);
    if (rc != 0) {
        // The disabling texts have no place for errno; printf ignores it there.
        WLOG(texts.getFailed, texts.signature, rc, errno);
        return kIoctlError;
    }
    WLOG(texts.flags, static_cast<unsigned short>(ifr.ifr_flags));
    ifr.ifr_flags = static_cast<short>(up ? (ifr.ifr_flags | IFF_UP) : (ifr.ifr_flags & ~IFF_UP));
    rc = plat::Ioctl(drvsock, SIOCSIFFLAGS, &ifr);
    if (rc != 0) {
        WLOG(texts.setFailed, texts.signature, rc, errno);
        return kIoctlError;  // the socket stays open for the next call to find
    }
    CloseDriver();
    return kOk;
}

int CWlanDriver::CheckCurrentFwMode() {
    FILE* f = plat::Fopen(kFwVariantPath, "r");
    if (f == nullptr) {
        WLOG("File Open Error: %s", kFwVariantPath);
        return -1;
    }
    char variant[16] = {};
    if (std::fgets(variant, sizeof variant, f) == nullptr) variant[0] = '\0';
    std::fclose(f);
    // Only the prefix counts: any longer name that begins with it is test firmware.
    return std::strncmp(variant, "rk720_t", 7) == 0 ? 0 : 1;
}

int CWlanDriver::SetMode(int mode) {
    if (mode != 0 && mode != 1) {
        WLOG("Invalid FW mode %d\n", mode);
        return -1;
    }
    if (mode == 0) DisableWLBT();
    if (CheckCurrentFwMode() == mode) {
        WLOG("No need to change the FW mode\n");
        return kOk;
    }
    int rc = DisableInterface();
    if (rc != kOk) {
        WLOG("Error : %d\n", rc);
        return rc;
    }
    const char* commands[16];
    std::memcpy(commands, kModeCommands, sizeof commands);
    for (int step = 0; step < 8; ++step) {
        const char* command = commands[mode * 8 + step];
        if (command == nullptr) continue;
        WLOG("%s\n", command);
        rc = _RunShellCmd(command);
        if (rc != kOk) {
            WLOG("Error : %d\n", rc);
            return rc;
        }
    }
    // Bringing the interface up again is the caller's duty.
    return kOk;
}

int CWlanDriver::StartScan() {
    return _StartScan_IW();
}

int CWlanDriver::GetScanResult(CScanList& list) {
    return _GetScanResult_IW(list);
}

int CWlanDriver::_RunShellCmd(const char* command) {
    FILE* out = plat::Popen(command, "r");
    if (out == nullptr) return kSocketError;
    char line[1024];
    while (std::fgets(line, sizeof line, out) != nullptr) WLOG("%s\n", line);
    plat::Pclose(out);  // a command that failed still counts as run
    return kOk;
}

int CWlanDriver::_StartScan_IW() {
    AutoLock guard(scan_lock);
    if (!guard.lock(10)) {
        WLOG("Scan lock was not released properly");
        return kLockTimeout;
    }
    if (scan_output == nullptr) {
        WLOG("scan output is NULL");
        return kScanToolError;
    }
    FILE* tool = plat::Popen("iw dev wlan0 scan", "r");
    if (tool == nullptr) {
        WLOG("Fail to run the command\n");
        return kScanToolError;
    }
    std::memset(scan_output, 0, kScanOutputSize);
    size_t total = 0;
    char line[1024];
    while (std::fgets(line, sizeof line, tool) != nullptr) {
        const size_t length = std::strlen(line);
        // The buffer always keeps a terminator behind the text.
        if (total + length >= kScanOutputSize) break;
        std::memcpy(scan_output + total, line, length);
        total += length;
    }
    plat::Pclose(tool);
    return kOk;
}

int CWlanDriver::_GetScanResult_IW(CScanList& list) {
    if (scan_output == nullptr) {
        WLOG("scan output is NULL");
        return kOk;
    }
    AutoLock guard(scan_lock);
    if (!guard.lock(10)) {
        WLOG("Scan operation was not finished properly");
        return kLockTimeout;
    }
    // The text is parsed in place; the parse writes only terminators into it,
    // and the buffer's last byte is always one, so every search stays inside.
    char* const start = scan_output;
    char* const end = scan_output + kScanOutputSize;
    char* p = start;
    while (p < end) {
        const int pos = findString(p, "BSS ");
        if (pos < 0) return kOk;
        char* match = p + pos;
        // A "BSS " that does not start a line (the BSS Load element, say).
        if (match - 1 > start && match[-1] != '\n') {
            p = match + 4;
            continue;
        }
        char* bssid = match + 4;
        if (bssid + 18 > end) return kOk;
        bssid[17] = '\0';
        SCAN_INFO_NODE* node = list.FindNodebyMAC(bssid);
        const bool fresh = node == nullptr;
        if (fresh) {
            node = CScanList::NewNode();
            std::strncpy(node->mac, bssid, 17);
        }
        p = bssid + 18;

        int at = findString(p, "signal: ");
        if (at < 0) {
            if (fresh) delete node;  // an entry without a signal never reaches the list
            continue;
        }
        p += at + 8;
        node->signal_dbm = str2num(p);

        at = findString(p, "SSID: ");
        if (at < 0) {
            if (fresh) delete node;
            continue;
        }
        p += at + 6;
        int count = 0;
        while (count < 256 && p[count] != '\n' && p[count] != '\0') ++count;
        std::strncpy(node->name, p, static_cast<size_t>(count));
        node->name[count] = '\0';
        list.Push(node);
        WLOG("BSS:%s, signal:%d, SSID:%s\n", node->mac, node->signal_dbm, node->name);
        p += count;
    }
    return kOk;
}
