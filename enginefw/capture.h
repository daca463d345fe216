// A packet capture of everything the library says and hears: the H4 packets
// on the Bluetooth line, the frames to and from the WLAN test firmware, and
// the AT commands with their results, with timestamps from one clock.
//
// Switched on by the environment, read at the first packet (or again after
// Shutdown):
//   TAVO_CAPTURE=<file>   pcapng, three interfaces:
//       0 "bluetooth-h4"  link type 201 (H4 with a 4-byte big-endian
//                         direction header: 0 sent, 1 received)
//       1 "wlan-fw"       link type 147 (user 0): the same direction header,
//                         then the frame as it crossed the device node (a
//                         request bare, a confirm with its 16-byte UDI header)
//       2 "at"            link type 148 (user 1): u8 kind (0 command,
//                         1 result), i32 big-endian return code, u16
//                         big-endian length of the command, the command, and
//                         for a result the result text behind it
//   TAVO_BTSNOOP=<file>   the H4 packets alone in the btsnoop format (H4
//                         data link, 1002).
//
// Producers only copy a record into a bounded buffer under a short lock; a
// writer thread per file empties it with plain writes, so a link thread never
// waits on the disk, and a process that dies leaves a file of whole blocks
// up to the last one written. A record that finds the buffer full is dropped
// and counted; the counts go into the pcapng file's interface statistics at
// the end (Shutdown, or the process's exit) and into each btsnoop record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace capture {

enum Direction : uint32_t { kSent = 0, kReceived = 1 };

// The pcapng interfaces, in the order of their description blocks.
enum Interface : uint32_t { kH4 = 0, kWlanFw = 1, kAt = 2, kInterfaces = 3 };

// The AT record kinds.
enum AtKind : uint8_t { kAtCommand = 0, kAtResult = 1 };

// True when a capture file is being written. Cheap when none is.
bool Active();

// One H4 packet: its indicator, then the packet without it. A comment, if
// any, goes with it into the pcapng file (Wireshark shows it as the packet's
// comment).
void H4Packet(Direction direction, uint8_t indicator, const uint8_t* packet, size_t length,
              const char* comment = nullptr);
// One frame to or from the WLAN test firmware, as written or read.
void WlanFrame(Direction direction, const uint8_t* frame, size_t length);
// An AT command as the station handed it, and later its return code and
// result text (none when result is null; never more than capacity bytes).
void AtCommand(const char* command);
void AtResult(const char* command, int rc, const char* result, size_t capacity);

// Waits until every record queued so far is in the files.
void Flush();
// Writes what is queued and the statistics, closes the files, and reads the
// environment anew at the next packet. Registered to run at exit.
void Shutdown();

// What went to each interface so far, and what was dropped (tests, the tool).
struct Counts {
    uint64_t written[kInterfaces] = {};
    uint64_t dropped[kInterfaces] = {};
};
Counts CurrentCounts();

// The buffer a file may hold before records are dropped; tests make it small.
void SetBufferLimitForTesting(size_t bytes);

}  // namespace capture
