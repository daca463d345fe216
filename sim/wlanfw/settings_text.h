// Firmware steering as text, for the tavo-sim program's command line
// (a repeatable "--wlanfw SETTING") and any other text channel:
//
//   silent[=on|off]                requests are read and dropped
//   delay=MS                       each confirm waits MS milliseconds
//   chatter=N[,MS]                 N unrelated frames before each confirm, MS apart
//   force=ID|any,CODE[,TIMES|always]  answer requests of ID with CODE
//   malformed=KIND                 the next confirm broken: short-datagram,
//                                  header-only, signal-overrun, total-overrun
//   cut-signal=N                   the next confirm's signal cut to N bytes
//   cut-bulk=N                     the next confirm's bulk cut to N bytes
//   rx-counters-limit=N|all        at most N counter values per rx_read_cfm
//   rx-count-field=N|counted       rx_read_cfm claims N counters (counted: as many as it holds)
//   mib-psid=PSID|asked            mib_get_cfm answers for PSID
//   rx-interval=MS|elapsed         rx_read_cfm's interval (elapsed: since the start)
//   rx-counts=TOTAL,GOOD           the receiver's counts
//   rx-rate=FPS                    frames per second that arrive
//   rx-error=PERMILLE              thousandths of them in error
//   rssi=CUR,AV,MIN,MAX            dBm, whatever the tester's level
//   snr=CUR,AV,MIN,MAX             dB
//   freq-error=N
//   tester=FRAMES,PERMILLE,LEVEL|off  the tester's burst at each receiver start:
//                                  FRAMES (1 up) of which PERMILLE thousandths
//                                  in error, at LEVEL dBm (-120 to 0);
//                                  default 1000,8,-55
//   bist=R,I                       the self test's gain word from its parts
//   bist-word=WORD
//   chip-id=N   build-id=TEXT   temperature=N
//
// Numbers are decimal or 0x-prefixed hexadecimal, and must fit their field.
#pragma once

#include <string>

#include "sim/wlanfw/wlan_firmware.h"

namespace tavo::sim::wlanfw {

// Applies one setting. Returns false with `error` set, and changes nothing,
// when the setting is unknown or its value does not fit.
bool ApplySetting(WlanFirmware& firmware, const std::string& setting, std::string& error);

// The list above, for a usage text.
std::string SettingsUsage();

}  // namespace tavo::sim::wlanfw
