// What the btcli stand-in needs from the running simulator: the chip's own
// address, whether sleeps are cut short, and the Bluetooth devices in range.
// The stand-in runs as a process of its own, so the Bluetooth controller
// keeps this in a control file, root/sim/btcli_state, rewritten whole
// whenever any of it changes (a reader sees the old or the new state):
//
//   address<TAB>00:1A:7D:DA:71:13
//   fast-sleep<TAB>off
//   device<TAB>00:11:22:33:44:55<TAB>-72<TAB>2<TAB>Tester
//
// A device line holds the address, the RSSI in dBm, the number of rows one
// inquiry prints for it, and the name with the access point list's \xNN
// escapes. '#' starts a comment line.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tavo::sim {

// A Bluetooth device that answers the stand-in's inquiry.
struct BtDevice {
    // The longest name Bluetooth carries; the inquiry row shows the first 16 bytes.
    static constexpr std::size_t kMaxNameLength = 248;
    static constexpr int kMinRssi = -127;
    static constexpr int kMaxRssi = -1;

    std::string address;  // "00:11:22:33:44:55", either case
    std::string name;     // raw bytes
    int rssi = -50;       // dBm
    int sightings = 1;    // rows per inquiry, 1 or 2: a device seen twice merges in the library's list
};

// Empty when `device` can be reported, else what is wrong with it.
std::string Validate(const BtDevice& device);

// "ADDR,NAME,RSSI[,SIGHTINGS]": the name is everything between the first
// comma and the RSSI, commas included. The fields are told apart from the
// end: SIGHTINGS (1 or 2) is positive, RSSI (-127 to -1) negative. Errors
// start with `what`, the option or setting that carried the text.
bool ParseBtDeviceOption(const std::string& text, BtDevice& device, std::string& error,
                         const std::string& what = "--bt-device");

struct BtcliState {
    std::string address = "00:1A:7D:DA:71:13";  // the controller's default
    bool fastSleep = false;  // `sleep N` waits at most 50 ms
    std::vector<BtDevice> devices;
};

// Writes the whole file at once. `state` must be valid. Throws std::runtime_error.
void SaveBtcliState(const std::string& path, const BtcliState& state);
// Reads the file. A missing file is the default state (no devices).
// Returns false with `error` ("<path>:<line>: <reason>") on the first bad line.
bool LoadBtcliState(const std::string& path, BtcliState& state, std::string& error);

}  // namespace tavo::sim
