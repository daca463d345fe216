// The btcli stand-in, run the way the factory library runs the real tool:
//
//   btcli -x/dev/btcli_fifo /dev/tavo_h4_0 h4 4000000
//
// "-x" names the script's source, a phone path that the stand-in takes under
// TAVO_PLATFORM_ROOT itself (the platform layer leaves a path glued to an
// option alone); without "-x" the script comes from standard input. The
// device, transport and baud rate are taken and not used: the library holds
// the H4 line, so the stand-in never opens it and answers from
// root/sim/btcli_state (btcli_state.h) instead.
//
// The source is opened for reading, which on a FIFO waits for the writer,
// and read to "quit" or its end; then the commands run in order, one output
// row a line, flushed after each:
//
//   set_event_mask HEX  command_complete: opcode:0x0c01 status:0x00
//   wim e               command_complete: opcode:0x0c45 status:0x00
//   i                   command_status: opcode:0x0401 status:0x00
//                       then per device in range (twice for one seen twice):
//                       extended_inquiry_result: num:0x01 ba:0x001122334455 psrm:0x01 dc:0x5a020c
//                       co:0x1f2e rssi:0x00c8 ird:0x100<name>   (one line)
//   rba                 command_complete: opcode:0x1009 status:0x00 ba:0x001a7dda7113
//   sleep N             waits N ms (at most 50 with fast-sleep)
//   quit                ends with status 0; so does the script's end
//   anything else       Unknown command: <line>
//
// The RSSI byte carries the sign in bit 7 and the magnitude below (-72 is
// c8), the way the library reads it. The name field is the name cut to 16
// bytes and padded with NULs to 16, in reverse byte order, as 32 lower-case
// hex digits behind "ird:0x100" (the library reads the length 0x10 and then
// the bytes back to front).
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace tavo::sim {

// `args` without the program name; `root` is TAVO_PLATFORM_ROOT ("" when
// unset). Returns the exit status: 0, or 1 when the script or the state
// cannot be read.
int BtcliMain(const std::vector<std::string>& args, const std::string& root, std::ostream& out, std::ostream& err);

}  // namespace tavo::sim
