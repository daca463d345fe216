// The HCI classes whose build or length rule depends on the values they hold,
// and the builders of the name and advertising data parts.
#include <typeinfo>

#include "pdu/hci_commands.h"
#include "pdu/hci_events.h"
#include "pdu/hci_factory.h"
#include "pdu/hci_returns.h"

// Filter type, condition type, then a condition whose shape the two select:
// a class of device and its mask, or an address; a connection-setup filter
// (type 2) ends in its auto-accept flag.
bool HCI_SET_EVENT_FILTER_T_PDU::build(const unsigned long* parameters) {
    const unsigned long count = parameters[0];
    if (count <= 2) {
        return true;
    }
    const uint8_t filter_type = static_cast<uint8_t>(parameters[2]);
    set_filter_type(filter_type);
    if (count <= 3 || filter_type == 0) {
        return true;
    }
    if (filter_type > 2) {
        return false;
    }
    unsigned long next;  // the element after the condition
    unsigned short end;  // the byte after the condition
    switch (parameters[3]) {
    case 0:
        next = 4;
        end = 5;
        break;
    case 1:
        if (count < 6) {
            return false;
        }
        next = 6;
        end = 11;
        break;
    case 2:
        if (count < 7) {
            return false;
        }
        next = 7;
        end = 11;
        break;
    default:
        return false;
    }
    resize(end);
    set_uint8(4, static_cast<uint8_t>(parameters[3]));
    if (parameters[3] == 1) {
        set_ClassOfDevice(5, ClassOfDevice(parameters[4]));
        set_ClassOfDevice(8, ClassOfDevice(parameters[5]));
    } else if (parameters[3] == 2) {
        set_BluetoothDeviceAddress(5, BluetoothDeviceAddress(static_cast<unsigned short>(parameters[6]),
                                                             static_cast<unsigned char>(parameters[5]),
                                                             parameters[4]));
    }
    if (filter_type == 2 && count > next) {
        resize(static_cast<unsigned short>(end + 1));
        set_uint8(end, static_cast<uint8_t>(parameters[next]));
    }
    return true;
}

// A tunnel fragment: its descriptor, the payload length (an element only), and
// that many payload bytes, which size the packet.
bool HCI_MNFR_EXTENSION_T_PDU::build(const unsigned long* parameters) {
    const unsigned long count = parameters[0];
    if (count <= 2) {
        return true;
    }
    set_payload_descriptor(static_cast<uint8_t>(parameters[2]));
    if (count <= 3) {
        return true;
    }
    // The parameter length is one byte: the descriptor and 254 payload bytes at most.
    const unsigned long length = parameters[3] < 254 ? parameters[3] : 254;
    resize(static_cast<unsigned short>(4 + length));
    const unsigned long* cursor = parameters + 4;
    uint8_t bytes[254] = {};
    HCIPDUFactory::decodeBytes(bytes, length, parameters, &cursor);
    set_uint8Array(bytes, 4, length);
    return true;
}

bool HCI_EV_RETURN_LINK_KEYS_T_PDU::size_expected() const {
    return size() >= 3 && size() == 3 + 22ul * get_number_keys();
}

bool HCI_EV_NUMBER_COMPLETED_PKTS_T_PDU::size_expected() const {
    return size() >= 3 && size() == 3 + 4ul * get_num_handles();
}

bool HCI_EV_LOOPBACK_COMMAND_T_PDU::size_expected() const { return size() > 2; }

bool HCI_EV_EXTENDED_INQUIRY_RESULT_T_PDU::size_expected() const { return size() > 16; }

bool HCI_EV_ULP_T_PDU::size_expected() const { return true; }

bool HCI_READ_CURRENT_IAC_LAP_RET_T_PDU::size_expected() const {
    return size() >= 7 && size() == 7 + 3ul * get_num_current_iac();
}

bool HCI_READ_LOCAL_SUPP_CODECS_RET_T_PDU::size_expected() const {
    const unsigned long codecs = get_num_of_supported_codecs();
    const unsigned long vendor = get_num_of_supported_vendor_specific_codecs();
    return codecs <= 4 && vendor <= 2 && size() == 8 + codecs + 4 * vendor;
}

bool HCI_ULP_SET_CIG_PARAMETERS_RET_T_PDU::size_expected() const {
    return get_cis_count() <= 16 && size() == 8 + 2ul * get_cis_count();
}

bool HCI_ULP_SET_CIG_PARAMETERS_TEST_RET_T_PDU::size_expected() const {
    return get_cis_count() <= 16 && size() == 8 + 2ul * get_cis_count();
}

namespace {

// The length of an LE scan report reply (sub-command 4 of the batch scan
// command): in format 1 fixed records of 11 bytes; in format 2 records of 13
// bytes and two data parts whose lengths the record holds.
unsigned long BatchScanLength(const HCIEventPDU& pdu) {
    const unsigned long records = pdu.get_uint8(8);
    switch (pdu.get_uint8(7)) {
    case 1:
        return 9 + 11 * records;
    case 2: {
        unsigned long length = 9;
        for (unsigned long r = 0; r < records; ++r) {
            const unsigned long l1 = pdu.get_uint8(length + 11);
            const unsigned long l2 = pdu.get_uint8(length + 12 + l1);
            length += 13 + l1 + l2;
        }
        return length;
    }
    default:
        return 9;
    }
}

}  // namespace

bool custom_check_command_complete_length(const HCIEventPDU* pdu, const std::type_info& type, bool& ok) {
    if (pdu == nullptr || pdu->data() == nullptr) {
        return false;
    }
    const uint8_t sub = pdu->get_uint8(6);
    if (type == typeid(HCI_ANDROID_ULP_BS_RET_T_PDU)) {
        if (sub >= 1 && sub <= 3) {
            ok = pdu->size_ok() && pdu->size() == 7;
        } else if (sub == 4) {
            ok = pdu->size_ok() && pdu->size() == BatchScanLength(*pdu);
        } else {
            ok = false;
        }
        return true;
    }
    if (type == typeid(HCI_ANDROID_ULP_APCF_RET_T_PDU)) {
        ok = (sub == 0 && pdu->size() == 8) || (sub >= 1 && sub <= 7 && pdu->size() == 9);
        return true;
    }
    if (type == typeid(HCI_VSC_GET_VENDOR_CAPA_RET_T_PDU)) {
        ok = pdu->size() < 18;
        return true;
    }
    return false;
}

namespace {

// Up to n bytes from the cursor into a zeroed buffer; the data-part builders'
// first step.
template <unsigned long N>
struct DataPart {
    unsigned char bytes[N] = {};
    unsigned long taken = 0;

    bool Take(const unsigned long* parameters, const unsigned long** cursor, unsigned long n = N) {
        if (parameters == nullptr || parameters[0] < 3) {
            return false;
        }
        taken = HCIPDUFactory::decodeBytes(bytes, n < N ? n : N, parameters, cursor);
        return true;
    }
};

// The extended data commands size the packet by their length field first:
// 3 + ((length + 4) modulo 256), the parameter length being one byte.
template <typename P, typename Set>
void BuildSizedData(P& pdu, unsigned long length, const unsigned long* parameters, const unsigned long** cursor,
                    Set set) {
    DataPart<256> part;
    if (parameters == nullptr || parameters[0] < 3) {
        return;
    }
    pdu.resize(static_cast<unsigned short>(3 + (length + 4) % 256));
    part.Take(parameters, cursor, length);
    set(pdu, BluetoothName(part.bytes, length, true));
}

}  // namespace

void build_name_part(HCI_CHANGE_LOCAL_NAME_T_PDU& pdu, const unsigned long* parameters,
                     const unsigned long** cursor) {
    DataPart<248> part;
    if (part.Take(parameters, cursor)) {
        pdu.set_name_part(BluetoothName(part.bytes, 248, false));
    }
}

void build_eir_data_part(HCI_WRITE_EXTENDED_INQUIRY_RESPONSE_DATA_T_PDU& pdu, const unsigned long* parameters,
                         const unsigned long** cursor) {
    DataPart<240> part;
    if (part.Take(parameters, cursor)) {
        pdu.set_eir_data_part(EIRData(part.bytes, 240));
    }
}

void build_advertising_data(HCI_ULP_SET_ADVERTISING_DATA_T_PDU& pdu, const unsigned long* parameters,
                            const unsigned long** cursor) {
    DataPart<31> part;
    if (part.Take(parameters, cursor)) {
        pdu.set_advertising_data(BluetoothName(part.bytes, 31, true));
    }
}

void build_scan_response_data(HCI_ULP_SET_SCAN_RESPONSE_DATA_T_PDU& pdu, const unsigned long* parameters,
                              const unsigned long** cursor) {
    DataPart<31> part;
    if (part.Take(parameters, cursor)) {
        pdu.set_scan_response_data(BluetoothName(part.bytes, 31, true));
    }
}

void build_extended_advertising_data(HCI_ULP_SET_EXTENDED_ADVERTISING_DATA_T_PDU& pdu,
                                     const unsigned long* parameters, const unsigned long** cursor) {
    BuildSizedData(pdu, pdu.get_extended_advertising_data_len(), parameters, cursor,
                   [](HCI_ULP_SET_EXTENDED_ADVERTISING_DATA_T_PDU& p, const BluetoothName& data) {
                       p.set_extended_advertising_data(data);
                   });
}

void build_extended_scan_response_data(HCI_ULP_SET_EXTENDED_SCAN_RESPONSE_DATA_T_PDU& pdu,
                                       const unsigned long* parameters, const unsigned long** cursor) {
    BuildSizedData(pdu, pdu.get_extended_scan_response_data_len(), parameters, cursor,
                   [](HCI_ULP_SET_EXTENDED_SCAN_RESPONSE_DATA_T_PDU& p, const BluetoothName& data) {
                       p.set_extended_scan_response_data(data);
                   });
}

void build_periodic_advertising_data(HCI_ULP_SET_PERIODIC_ADVERTISING_DATA_T_PDU& pdu,
                                     const unsigned long* parameters, const unsigned long** cursor) {
    BuildSizedData(pdu, pdu.get_periodic_advertising_data_len(), parameters, cursor,
                   [](HCI_ULP_SET_PERIODIC_ADVERTISING_DATA_T_PDU& p, const BluetoothName& data) {
                       p.set_periodic_advertising_data(data);
                   });
}
