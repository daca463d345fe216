// The exported bt_ and btle_ functions: thin, traced calls on the one
// connection. They test nothing: arguments go to the chip as they are.
#include "bt_interface.h"
#include "btcommstest/btcommstest_lib_mgr.h"
#include "commstest/ct_trace.h"

#define INTF_FILE "btcommstest_lib_intf"
#define T(...) CT_TRACE_GROUP(kGroupCommstest, INTF_FILE, 3, __VA_ARGS__)

using btcommstest::gConnection;

// The same shape for every call: its name, its arguments, the sentry with the
// result, the call, the result. A macro, so that the lines name the exported
// function itself.
#define BT_CALL(call)                                      \
    int32_t result = 0;                                    \
    CT_SENTRY_RET(kGroupCommstest, INTF_FILE, int, result); \
    result = gConnection().call;                           \
    T("%s() -> %d", __func__, result);                     \
    return result

extern "C" {

WLBT_API int32_t bt_open_device(void) {
    T("%s()", __func__);
    BT_CALL(connect());
}

WLBT_API int32_t bt_close_device(void) {
    T("%s()", __func__);
    BT_CALL(disconnect());
}

WLBT_API void bt_get_version_info(uint16_t* major, uint16_t* minor, uint16_t* release, uint16_t* build) {
    T("%s()", __func__);
    CT_SENTRY(kGroupCommstest, INTF_FILE);
    gConnection().get_version_info(major, minor, release, build);
    T("%s() ->", __func__);
    if (major != nullptr) T("... major: %u", *major);
    if (minor != nullptr) T("... minor: %u", *minor);
    if (release != nullptr) T("... release: %u", *release);
    if (build != nullptr) T("... build: %u", *build);
}

WLBT_API const char* bt_get_last_error(void) {
    T("%s()", __func__);
    const char* result = nullptr;
    CT_SENTRY_RET(kGroupCommstest, INTF_FILE, const char*, result);
    result = gConnection().get_last_error();
    T("%s() ->", __func__);
    T("... :'%s'", result);
    return result;
}

WLBT_API int32_t bt_cfg_tx_power(int16_t power) {
    T("%s()", __func__);
    T("... power: %d", power);
    BT_CALL(set_tx_power(power));
}

WLBT_API int32_t bt_cfg_pkt(uint16_t packetType, uint16_t packetSize) {
    T("%s()", __func__);
    T("... packetType: %d", packetType);
    T("... packetSize: %d", packetSize);
    BT_CALL(set_packet_params(packetType, packetSize));
}

WLBT_API int32_t bt_cfg_hopping_sequence(uint16_t chan00_15, uint16_t chan16_31, uint16_t chan32_47,
                                         uint16_t chan48_63, uint16_t chan64_79) {
    T("%s()", __func__);
    T("... chan00_15: 0x%04x", chan00_15);
    T("... chan16_31: 0x%04x", chan16_31);
    T("... chan32_47: 0x%04x", chan32_47);
    T("... chan48_63: 0x%04x", chan48_63);
    T("... chan64_79: 0x%04x", chan64_79);
    BT_CALL(cfg_hopping_sequence(chan00_15, chan16_31, chan32_47, chan48_63, chan64_79));
}

WLBT_API int32_t bt_txdata1(uint16_t frequency) {
    T("%s()", __func__);
    T("... frequency: %d", frequency);
    BT_CALL(tx_data1(frequency));
}

WLBT_API int32_t bt_txdata2(void) {
    T("%s()", __func__);
    BT_CALL(tx_data2());
}

WLBT_API int32_t bt_txdata3(uint16_t frequency) {
    T("%s()", __func__);
    T("... frequency: %d", frequency);
    BT_CALL(tx_data3(frequency));
}

WLBT_API int32_t bt_txdata4(uint16_t frequency) {
    T("%s()", __func__);
    T("... frequency: %d", frequency);
    BT_CALL(tx_data4(frequency));
}

WLBT_API int32_t bt_txstart(uint16_t frequency, uint16_t mode, uint16_t tx_pattern) {
    T("%s()", __func__);
    T("... frequency: %d", frequency);
    T("... mode: %d", mode);
    T("... tx_pattern: %d", tx_pattern);
    BT_CALL(tx_start(frequency, mode, tx_pattern));
}

WLBT_API int32_t bt_ber1(uint16_t frequency) {
    T("%s()", __func__);
    T("... frequency: %d", frequency);
    BT_CALL(ber1(frequency));
}

WLBT_API int32_t bt_rxstart2(uint16_t frequency) {
    T("%s()", __func__);
    T("... frequency: %d", frequency);
    BT_CALL(rx_start2(frequency));
}

WLBT_API int32_t bt_stop_test(void) {
    T("%s()", __func__);
    BT_CALL(end_test());
}

WLBT_API int32_t btle_transmitter_test(uint8_t channel, uint8_t length, uint8_t payload) {
    T("%s()", __func__);
    T("... channel: %d", channel);
    T("... length: %d", length);
    T("... payload: 0x%02x", payload);
    BT_CALL(le_transmitter_test(channel, length, payload));
}

WLBT_API int32_t btle_receiver_test(uint8_t channel) {
    T("%s()", __func__);
    T("... channel: %d", channel);
    BT_CALL(le_receiver_test(channel));
}

WLBT_API int32_t btle_enhanced_transmitter_test(uint8_t channel, uint8_t length, uint8_t payload, uint8_t phy) {
    T("%s()", __func__);
    T("... channel: %d", channel);
    T("... length: %d", length);
    T("... payload: 0x%02x", payload);
    T("... phy: 0x%02x", phy);
    BT_CALL(le_enhanced_transmitter_test(channel, length, payload, phy));
}

WLBT_API int32_t btle_enhanced_receiver_test(uint8_t channel, uint8_t phy, uint8_t modulation_index) {
    T("%s()", __func__);
    T("... channel: %d", channel);
    T("... phy: 0x%02x", phy);
    T("... modulation index: 0x%02x", modulation_index);
    BT_CALL(le_enhanced_receiver_test(channel, phy, modulation_index));
}

WLBT_API int32_t btle_stop_test(void) {
    T("%s()", __func__);
    BT_CALL(le_end_test());
}

WLBT_API int32_t btle_stop_test_count(void) {
    T("%s()", __func__);
    BT_CALL(le_end_test_count());
}

WLBT_API int32_t bt_enable_dut_mode(void) {
    T("%s()", __func__);
    BT_CALL(enable_dut_mode());
}

WLBT_API int32_t bt_cfg_uap_lap(uint16_t uap, uint32_t lap) {
    T("%s()", __func__);
    T("... uap: 0x%04x", uap);
    T("... lap: 0x%06x", lap);
    BT_CALL(cfg_uap_lap(uap, lap));
}

WLBT_API int32_t bt_cfg_freq(uint16_t txrx_frequency, uint16_t lb_offs, uint16_t report_frequency) {
    T("%s()", __func__);
    T("... txrx_frequency: %d", txrx_frequency);
    T("... lb_offs: %d", lb_offs);
    T("... report_frequency: %d", report_frequency);
    BT_CALL(cfg_freq(txrx_frequency, lb_offs, report_frequency));
}

}  // extern "C"
