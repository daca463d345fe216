// Controller steering as text, for the tavo-sim program's command line (a
// repeatable "--btctl SETTING"), wlbt's and any other text channel:
//
//   silent[=on|off]          packets are read and logged, nothing is answered
//   delay=MS                 each answer waits MS milliseconds
//   garbage=HEX              these bytes go on the line before the next packet sent
//   split=N                  each packet sent is written in pieces of 1 to N bytes (0: whole)
//   status=CODE              every Command Complete carries CODE (0: the true status)
//   hangup                   the line is closed now
//   hangup-mid-packet        the next packet sent is cut after half its bytes, then the line is closed
//   bd-addr=XX:XX:XX:XX:XX:XX   the address Read BD_ADDR reports
//   le-packets=N             the number of packets LE Test End reports
//   credits=N                the command credits of Command Complete and Command Status
//   acl-complete=on|hold|release   completions of ACL data at once, held, or the held ones sent
//   connection-complete=HANDLE,LINKTYPE[,STATUS]        these send an event at once
//   sync-connection-complete=HANDLE[,STATUS]
//   disconnection-complete=HANDLE[,STATUS[,REASON]]
//   command-status=OPCODE,STATUS
//   event=HEX                the bytes after the event indicator, as given
//   vendor-status=N          every vendor reply carries status word N (0: normal)
//   vendor-seq=wrong|right   the reply's sequence number is the request's plus 1
//   vendor-varid=wrong|right the reply's varid is the request's XOR 0x0001
//   vendor-reply=off|on      vendor PDUs are read and logged, not answered
//   vendor-delay=MS          each vendor reply waits MS milliseconds more
//   ber-bits=N               rx bits of the log ring's BIT_ERR blocks (0 to 2^31-1)
//   ber=PPM                  bit errors per million bits in them (0 to 1000000)
//   cw-rssi=DBM              the carrier's level in the RSSI_REPORT lines (-127 to -1)
//   fast-sleep[=on|off]      the btcli stand-in's sleeps wait at most 50 ms
//   bt-device=ADDR,NAME,RSSI[,SIGHTINGS]   a device in range of its inquiry
//
// Numbers are decimal or 0x-prefixed hexadecimal, and must fit their field.
#pragma once

#include <optional>
#include <string>

#include "sim/btctl/bt_controller.h"

namespace tavo::sim::btctl {

// Applies one setting. Returns false with `error` set, and changes nothing,
// when the setting is unknown or its value does not fit.
bool ApplySetting(BtController& controller, const std::string& setting, std::string& error);

// The list above, for a usage text.
std::string SettingsUsage();

// "00:1A:7D:DA:71:13", either case; nothing for anything else.
std::optional<BdAddr> ParseBdAddr(const std::string& text);

}  // namespace tavo::sim::btctl
