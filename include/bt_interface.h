/* The exported bt_ and btle_ functions: the Bluetooth test client's C interface.
 *
 * Call bt_open_device first and bt_close_device last. A radio test is a vendor
 * command to the controller, answered within one second or reported as a
 * time-out; the LE enhanced tests and bt_enable_dut_mode are HCI commands sent
 * without waiting. Every function but bt_get_version_info and bt_get_last_error
 * returns a commstest_error code:
 *   0 success, 1 the link could not be opened, 3 no reply within 1000 ms,
 *   4 not connected (or already connected), 100 a wrong reply, 101 the vendor
 *   command could not be built, 102 the controller refused an HCI command,
 *   103 the HCI command could not be built.
 * bt_get_last_error then gives the text, "<function>: <message>"; it is never
 * null (empty before the first error) and the library owns it. Arguments go to
 * the chip as they are. One caller thread at a time. */
#pragma once

#include <stdint.h>

#include "wlbt_export.h"

#ifdef __cplusplus
extern "C" {
#endif

WLBT_API int32_t bt_open_device(void);
WLBT_API int32_t bt_close_device(void);
WLBT_API void bt_get_version_info(uint16_t* major, uint16_t* minor, uint16_t* release, uint16_t* build);
WLBT_API const char* bt_get_last_error(void);

WLBT_API int32_t bt_cfg_tx_power(int16_t power);
WLBT_API int32_t bt_cfg_pkt(uint16_t packetType, uint16_t packetSize);
WLBT_API int32_t bt_cfg_hopping_sequence(uint16_t chan00_15, uint16_t chan16_31, uint16_t chan32_47,
                                         uint16_t chan48_63, uint16_t chan64_79);
WLBT_API int32_t bt_cfg_uap_lap(uint16_t uap, uint32_t lap);
WLBT_API int32_t bt_cfg_freq(uint16_t txrx_frequency, uint16_t lb_offs, uint16_t report_frequency);
WLBT_API int32_t bt_txdata1(uint16_t frequency);
WLBT_API int32_t bt_txdata2(void);
WLBT_API int32_t bt_txdata3(uint16_t frequency);
WLBT_API int32_t bt_txdata4(uint16_t frequency);
WLBT_API int32_t bt_txstart(uint16_t frequency, uint16_t mode, uint16_t tx_pattern);
WLBT_API int32_t bt_ber1(uint16_t frequency);
WLBT_API int32_t bt_rxstart2(uint16_t frequency);
WLBT_API int32_t bt_stop_test(void);
WLBT_API int32_t bt_enable_dut_mode(void);

WLBT_API int32_t btle_transmitter_test(uint8_t channel, uint8_t length, uint8_t payload);
WLBT_API int32_t btle_receiver_test(uint8_t channel);
WLBT_API int32_t btle_enhanced_transmitter_test(uint8_t channel, uint8_t length, uint8_t payload, uint8_t phy);
WLBT_API int32_t btle_enhanced_receiver_test(uint8_t channel, uint8_t phy, uint8_t modulation_index);
WLBT_API int32_t btle_stop_test(void);
/* Ends an LE test; the reply's payload words are printed to standard output. */
WLBT_API int32_t btle_stop_test_count(void);

#ifdef __cplusplus
}
#endif
