// The command factory: a flat parameter array to a typed packet, and a typed
// reply back to an array.
//
// The array is the system's one universal form of a command: element 0 the count
// of elements in use (itself included), each field one element in the low bits,
// whatever its width on the wire; an address takes three (LAP, UAP, NAP), a byte
// array one element a byte, a repeated group the fields of each entry in turn.
//
//   HCI command   1 opcode, 2 up the fields
//   HCI return    1 event code, 2 command packets, 3 opcode, 4 status, 5 up the fields
//   vendor        create: 1 request type, 2 sequence, 3 varid, 4 up the fields
//                 decompose: 1 varid, 2 sequence, 3 status, 4 up the fields
//
// The decompose functions take element 0 of a caller's array as the room it
// has, in elements: nothing is written at or past it, though the answer still
// counts every element the packet has (and a byte array that does not fit makes
// the decompose fail). With a null array they answer the same count.
//
// Failures come back as a null or empty result, with at most a debug line.
// Nothing throws and nothing here keeps state.
#pragma once

#include <cstdint>
#include <typeinfo>

#include "pdu/hcipdu.h"
#include "pdu/pcpdu.h"
#include "pdu/values/names.h"

class HCIPDUFactory {
public:
    // A new packet owned by the caller, or null: no array, element 0 below 2, an
    // opcode no class knows, or a build that refused its fields.
    static HCIPDU* createCommandPDU(unsigned long* parameters);
    // By value; an empty TSCMD_PDU on a new zero-length record for a short
    // array or an unknown varid.
    static TSCMD_PDU createTSCMD_PDU(const unsigned long* parameters);
    // Elements used, or 0 with the reason.
    static unsigned long decomposeTSCMD_PDU(const PDU& pdu, unsigned long* parameters, BadPDUReason& reason);
    static unsigned long decomposeCommandCompletePDU(const PDU& pdu, unsigned long* parameters,
                                                     BadPDUReason& reason);

    // Each byte to its own element at *cursor; false (and nothing written) when
    // fewer than count elements are left before parameters + element 0.
    static bool encodeBytes(const unsigned char* source, unsigned long count, const unsigned long* parameters,
                            unsigned long** cursor);
    // Up to maximum elements from *cursor, each cut to a byte (a word); answers
    // the number copied, or, with nothing to copy into, the elements left.
    static unsigned long decodeBytes(unsigned char* destination, unsigned long maximum,
                                     const unsigned long* parameters, const unsigned long** cursor);
    static unsigned long decodeBytes16(unsigned short* destination, unsigned long maximum,
                                       const unsigned long* parameters, const unsigned long** cursor);
};

// The default packet of an opcode, owned by the caller, or null.
HCICommandPDU* createHCIComandPDU(uint16_t opcode);
// True for the opcodes of the command classes.
bool isValidHCICommand(unsigned long opcode);
// Whether the length rule of one of the three classes whose replies vary in
// length applies (false for any other type, or no data), and if so, in ok,
// whether it holds.
bool custom_check_command_complete_length(const HCIEventPDU* pdu, const std::type_info& type, bool& ok);

// The data parts of the advertising and name commands: up to their size in
// bytes from the cursor, wrapped in their value type, then set.
class HCI_CHANGE_LOCAL_NAME_T_PDU;
class HCI_WRITE_EXTENDED_INQUIRY_RESPONSE_DATA_T_PDU;
class HCI_ULP_SET_ADVERTISING_DATA_T_PDU;
class HCI_ULP_SET_SCAN_RESPONSE_DATA_T_PDU;
class HCI_ULP_SET_EXTENDED_ADVERTISING_DATA_T_PDU;
class HCI_ULP_SET_EXTENDED_SCAN_RESPONSE_DATA_T_PDU;
class HCI_ULP_SET_PERIODIC_ADVERTISING_DATA_T_PDU;
void build_name_part(HCI_CHANGE_LOCAL_NAME_T_PDU& pdu, const unsigned long* parameters,
                     const unsigned long** cursor);
void build_eir_data_part(HCI_WRITE_EXTENDED_INQUIRY_RESPONSE_DATA_T_PDU& pdu, const unsigned long* parameters,
                         const unsigned long** cursor);
void build_advertising_data(HCI_ULP_SET_ADVERTISING_DATA_T_PDU& pdu, const unsigned long* parameters,
                            const unsigned long** cursor);
void build_scan_response_data(HCI_ULP_SET_SCAN_RESPONSE_DATA_T_PDU& pdu, const unsigned long* parameters,
                              const unsigned long** cursor);
void build_extended_advertising_data(HCI_ULP_SET_EXTENDED_ADVERTISING_DATA_T_PDU& pdu,
                                     const unsigned long* parameters, const unsigned long** cursor);
void build_extended_scan_response_data(HCI_ULP_SET_EXTENDED_SCAN_RESPONSE_DATA_T_PDU& pdu,
                                       const unsigned long* parameters, const unsigned long** cursor);
void build_periodic_advertising_data(HCI_ULP_SET_PERIODIC_ADVERTISING_DATA_T_PDU& pdu,
                                     const unsigned long* parameters, const unsigned long** cursor);

// Every packet class: "cmd", "ret", "evt" or "vendor", the name as the tables
// write it, the class name, the opcode, event code or varid, and the default size.
struct PacketClassInfo {
    const char* family;
    const char* name;
    const char* class_name;
    uint16_t code;
    unsigned long size;
};
extern const PacketClassInfo kPacketClasses[];
extern const unsigned long kPacketClassCount;

// Used by the generated classes and the dispatch; not for callers.

// A new view of a reply as the return class of its opcode, or null.
HCICommandCompletePDU* CreateReturnView(uint16_t opcode, const PDU& pdu);
// Steps 1 and 2 of every return's decompose: the custom length rule where one
// applies, otherwise size_ok() and size_expected(). False with reason 0.
bool ReturnLengthHolds(const HCICommandCompletePDU& pdu, const std::type_info& type, bool size_expected,
                       BadPDUReason& reason);
// The vendor classes' part of the factory: false for a varid with no class.
bool CreateVendorFields(uint16_t varid, const unsigned long* parameters, TSCMD_PDU& result);
bool DecomposeVendorFields(const TSCMD_PDU& pdu, unsigned long* parameters, unsigned long& index);

// Writes elements at index up, within the room element 0 gives; counts all.
class ArrayWriter {
public:
    ArrayWriter(unsigned long* parameters, unsigned long& index)
        : mParameters(parameters), mRoom(parameters != nullptr ? parameters[0] : 0), mIndex(index) {}

    void put(unsigned long value) {
        if (mParameters != nullptr && mIndex < mRoom) {
            mParameters[mIndex] = value;
        }
        ++mIndex;
    }
    void put_address(const BluetoothDeviceAddress& address) {
        put(address.get_lap());
        put(address.get_uap());
        put(address.get_nap());
    }
    // Through encodeBytes: with an array, all the bytes fit or the result is false.
    void put_bytes(const unsigned char* bytes, unsigned long count);
    bool ok() const { return mOk; }

private:
    unsigned long* mParameters;
    unsigned long mRoom;
    unsigned long& mIndex;
    bool mOk = true;
};
