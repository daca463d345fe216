/* The exported wlan_ functions: the WLAN test client's C interface.
 *
 * Call wlan_open_device first and wlan_close_device last; between them each
 * call is one exchange with the radio-test firmware. Every function but
 * wlan_get_version_info and wlan_get_last_error returns a commstest_error
 * code, 0 on success; wlan_get_last_error then gives the text, in the form
 * "<function>: <message>". One caller thread at a time. */
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "wlbt_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A MAC address, 6 bytes in transmission order, passed by value. */
typedef struct CommstestMacAddress {
    uint8_t bytes[6];
} CommstestMacAddress;

/* Parameter types: 32-bit values, narrowed by the functions. */
typedef enum CommstestChannelBandwidth {
    COMMSTEST_BW_20MHZ = 0,
    COMMSTEST_BW_40MHZ = 1,
    COMMSTEST_BW_80MHZ = 2
} CommstestChannelBandwidth;
typedef enum CommstestPrimaryChannelPosition { COMMSTEST_POSITION_0 = 0 } CommstestPrimaryChannelPosition;
typedef enum CommstestDataRate { COMMSTEST_RATE_NONE = 0 } CommstestDataRate; /* a firmware rate code */
typedef enum CommstestRadioBitmap {
    COMMSTEST_RADIO_1 = 1,
    COMMSTEST_RADIO_2 = 2,
    COMMSTEST_RADIO_BOTH = 3
} CommstestRadioBitmap;
typedef enum CommstestTxDataType { COMMSTEST_TX_DATA_0 = 0 } CommstestTxDataType;
typedef enum CommstestRxStartFlags { COMMSTEST_RX_FLAGS_NONE = 0 } CommstestRxStartFlags;
typedef enum CommstestTxSetParamsFlags {
    COMMSTEST_TX_FLAG_SHORT_PREAMBLE = 0x0040,
    COMMSTEST_TX_FLAG_CODING = 0x0100,
    COMMSTEST_TX_FLAG_BASE = 0x2000
} CommstestTxSetParamsFlags;
typedef enum CommstestDFSRegulatory { COMMSTEST_REGDOMAIN_0 = 0 } CommstestDFSRegulatory;
typedef enum CommstestTxSetParamsFlags2 { COMMSTEST_TX_FLAGS2_NONE = 0 } CommstestTxSetParamsFlags2;
typedef enum CommstestTxHEMode { COMMSTEST_HE_MODE_NONE = 0, COMMSTEST_HE_MODE_RU = 3 } CommstestTxHEMode;

WLBT_API void wlan_get_version_info(uint16_t* major, uint16_t* minor, uint16_t* release, uint16_t* build);
WLBT_API char const* wlan_get_last_error(void);
WLBT_API int32_t wlan_open_device(void);
WLBT_API int32_t wlan_close_device(void);
WLBT_API int32_t wlan_get_fw_build_id(char* buffer, size_t bufferLength);
WLBT_API int32_t wlan_get_chip_id(uint16_t* chipId);
WLBT_API int32_t wlan_bist_get_tx_gain(uint16_t freq, uint16_t tx_gain, uint16_t rx_gain, uint32_t* gain);
WLBT_API int32_t wlan_select_radio(CommstestRadioBitmap radio_mask);
WLBT_API int32_t wlan_cw_start(uint16_t freq, int32_t freqOffset, int8_t power, uint16_t amplitude);
WLBT_API int32_t wlan_cw_stop(void);
WLBT_API int32_t wlan_set_tx_params(CommstestChannelBandwidth bandwidth, CommstestPrimaryChannelPosition position,
                                    CommstestDataRate rate, uint16_t freq, int8_t power, uint16_t length,
                                    uint32_t interval, CommstestTxSetParamsFlags flags,
                                    CommstestDFSRegulatory regDomain, CommstestTxSetParamsFlags2 flags2,
                                    CommstestTxHEMode heMode, uint8_t heRuAllocation, uint8_t heLtf);
WLBT_API int32_t wlan_tx_start(uint32_t num_frames_to_send, CommstestTxDataType data_type, uint16_t data_param,
                               CommstestMacAddress destAddr, CommstestMacAddress srcAddr,
                               CommstestMacAddress bssId);
WLBT_API int32_t wlan_tx_read(uint32_t* numFramesLeftToSend);
WLBT_API int32_t wlan_tx_stop(void);
WLBT_API int32_t wlan_rx_start(CommstestChannelBandwidth bandwidth, CommstestPrimaryChannelPosition channelPosition,
                               uint16_t freq, CommstestRxStartFlags flags, CommstestMacAddress macAddress);
WLBT_API int32_t wlan_rx_read_extended(uint32_t* totalNumFramesOut, uint32_t* numGoodFramesOut,
                                       uint32_t* intervalOut, int32_t* freqErrAvOut, int16_t* rssiAvOut,
                                       int16_t* rssiMinOut, int16_t* rssiMaxOut, int16_t* rssiCurOut,
                                       int16_t* snrAvOut, int16_t* snrMinOut, int16_t* snrMaxOut,
                                       int16_t* snrCurOut);
/* The last two are declared 32-bit but receive 16-bit stores: only their
 * low halves are written. Zero them first and read the low half. */
WLBT_API int32_t wlan_rx_read(uint32_t* totalNumFramesOut, uint32_t* numGoodFramesOut, uint32_t* intervalOut,
                              int32_t* freqErrAvOut, int32_t* rssiAvOut, int32_t* snrAvOut);
WLBT_API int32_t wlan_rx_stop(void);
WLBT_API int32_t wlan_get_mib_uint(uint16_t psid, uint64_t* value);
WLBT_API int32_t wlan_get_mib_uint1(uint16_t psid, uint8_t i1, uint64_t* value);
WLBT_API int32_t wlan_get_mib_uint2(uint16_t psid, uint8_t i1, uint8_t i2, uint64_t* value);
WLBT_API int32_t wlan_get_mib_uint3(uint16_t psid, uint8_t i1, uint8_t i2, uint8_t i3, uint64_t* value);
WLBT_API int32_t wlan_get_mib_string(uint16_t psid, char* buffer, size_t length);
WLBT_API int32_t wlan_get_mib_string1(uint16_t psid, uint8_t i1, char* buffer, size_t length);
WLBT_API int32_t wlan_get_mib_string2(uint16_t psid, uint8_t i1, uint8_t i2, char* buffer, size_t length);
WLBT_API int32_t wlan_get_mib_string3(uint16_t psid, uint8_t i1, uint8_t i2, uint8_t i3, char* buffer,
                                      size_t length);

#ifdef __cplusplus
}
#endif
