// The commstest_ layer: the one global firmware client and the one global
// last-error text. Every exception of the client stops here and becomes a
// commstest_error code plus a stored message named after the public wlan_
// operation, so nothing above sees an exception.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "commstest/CommstestError.h"
#include "commstest/wlanliteclient.h"

using commstest_error = int32_t;

// Receive counters asked for by commstest_rx_read.
constexpr unsigned short kCounterTotalFrames = 0xE000;
constexpr unsigned short kCounterGoodFrames = 0xE001;
// MIB identifiers read here.
constexpr uint16_t kMibChipId = 2022;
constexpr uint16_t kMibFwBuildId = 183;
// The last-error text holds at most this many characters and a terminator.
constexpr size_t kLastErrorMax = 1024;

extern std::vector<char> gCtLastErrorBuffer;
extern CountedPointer<CWlanLiteClient> gWlanLiteClient;

void ct_set_error(const std::string& operation, const std::string& message);

commstest_error commstest_connect();
commstest_error commstest_disconnect();
char* commstest_get_last_error();
void commstest_get_version_info(uint16_t* major, uint16_t* minor, uint16_t* release, uint16_t* build);
commstest_error commstest_get_fw_build_id(char* buffer, size_t length);
commstest_error commstest_get_chip_id(uint16_t* id);
commstest_error commstest_bist_get_tx_gain(uint16_t freq, uint16_t txGain, uint16_t rxGain, uint32_t* gain);
commstest_error commstest_select_radio(uint16_t bitmap);
commstest_error commstest_cw_start(uint16_t freq, int freqOffset, signed char power, uint16_t amplitude);
commstest_error commstest_cw_stop();
commstest_error commstest_set_tx_params(uint8_t bandwidth, uint8_t position, uint16_t rate, uint16_t freq,
                                        int8_t power, uint16_t length, uint32_t interval, uint16_t flags,
                                        uint16_t regDomain, uint16_t flags2, uint16_t heMode,
                                        uint8_t heRuAllocation, uint8_t heLtf);
commstest_error commstest_tx_start(uint32_t frames, uint16_t dataType, uint16_t dataParam, CommstestMacAddress dest,
                                   CommstestMacAddress src, CommstestMacAddress bssId);
commstest_error commstest_tx_read(uint32_t* numFramesLeftToSend);
commstest_error commstest_tx_stop();
commstest_error commstest_rx_start(uint8_t bandwidth, uint8_t position, uint16_t freq, uint16_t flags,
                                   CommstestMacAddress address);
commstest_error commstest_rx_read(uint32_t* total, uint32_t* good, uint32_t* interval, int32_t* freqErrAv,
                                  int16_t* rssiAv, int16_t* rssiMin, int16_t* rssiMax, int16_t* rssiCur,
                                  int16_t* snrAv, int16_t* snrMin, int16_t* snrMax, int16_t* snrCur);
commstest_error commstest_rx_stop();
commstest_error commstest_get_mib_uint(uint16_t psid, uint64_t* value, std::vector<unsigned char> indices);
commstest_error commstest_get_mib_string(uint16_t psid, char* buffer, size_t length,
                                         std::vector<unsigned char> indices);
