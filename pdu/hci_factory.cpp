#include "pdu/hci_factory.h"

#include <memory>
#include <vector>

#include "commstest/ct_trace.h"
#include "pdu/radiotest_pdus.h"

namespace {

// The factory traces under the application group, as the rest of the packet
// library's callers expect to find it.
constexpr int kGroupApplication = 100;
constexpr const char* kFile = "gen_cmd_pa";

}  // namespace

HCIPDU* HCIPDUFactory::createCommandPDU(unsigned long* parameters) {
    CT_SENTRY(kGroupApplication, kFile);
    if (parameters == nullptr || parameters[0] < 2) {
        CT_TRACE_GROUP(kGroupApplication, kFile, 3, "parameters[0] not set up right");
        return nullptr;
    }
    const uint16_t opcode = static_cast<uint16_t>(parameters[1]);
    HCICommandPDU* pdu = createHCIComandPDU(opcode);
    if (pdu == nullptr) {
        CT_TRACE_GROUP(kGroupApplication, kFile, 3, "Unknown HCI PDU opcode 0x%0x(%d)", opcode, opcode);
        CT_TRACE_GROUP(kGroupApplication, kFile, 3, "pdu not created");
        return nullptr;
    }
    if (!pdu->build(parameters)) {
        CT_TRACE_GROUP(kGroupApplication, kFile, 3, "pdu->build() failed");
        // The original leaves the refused packet to its fate; freeing it keeps
        // the one failing class (the event filter) from leaking on every try.
        delete pdu;
        return nullptr;
    }
    return pdu;
}

TSCMD_PDU HCIPDUFactory::createTSCMD_PDU(const unsigned long* parameters) {
    TSCMD_PDU result(null_pdu);
    if (parameters != nullptr && parameters[0] >= 4) {
        const uint16_t varid = static_cast<uint16_t>(parameters[3]);
        bool known = true;
        if (varid == TSCMD_RADIOTEST_PDU().get_varid()) {
            TSCMD_RADIOTEST_PDU test;
            if (parameters[0] > 4) {
                test.set_radiotest(static_cast<uint16_t>(parameters[4]));
            }
            updateRADIOTEST_PDU(test, parameters);
            result = test;
        } else {
            known = CreateVendorFields(varid, parameters, result);
        }
        if (known) {
            result.set_req_type(static_cast<uint16_t>(parameters[1]));
            result.set_seq_no(static_cast<uint16_t>(parameters[2]));
        }
    }
    if (result.size() == 0) {
        return TSCMD_PDU(PDU(PDU::no_channel, 0));
    }
    return result;
}

unsigned long HCIPDUFactory::decomposeTSCMD_PDU(const PDU& pdu, unsigned long* parameters, BadPDUReason& reason) {
    const TSCMD_PDU view(pdu);
    if (view.get_req_type() != 1) {
        reason = vendor_not_a_response;
        return 0;
    }
    if (view.size() < TSCMD_PDU::minimum_bytes) {
        reason = vendor_below_minimum;
        return 0;
    }
    if (view.size() < 2ul * view.get_length()) {
        reason = vendor_shorter_than_length;
        return 0;
    }
    unsigned long index = 1;
    ArrayWriter out(parameters, index);
    out.put(view.get_varid());
    out.put(view.get_seq_no());
    out.put(view.get_status());
    if (view.get_varid() == TSCMD_RADIOTEST_PDU().get_varid()) {
        // The radio tests write from element 4 on; a scratch array keeps them
        // within the caller's room.
        unsigned long scratch[16] = {};
        const unsigned long used = decomposeRADIOTEST_PDU(TSCMD_RADIOTEST_PDU(pdu), scratch);
        for (unsigned long i = 0; i < used; ++i) {
            out.put(scratch[4 + i]);
        }
    } else if (!DecomposeVendorFields(view, parameters, index)) {
        // A varid with no class: the payload words as they are.
        const unsigned long words = view.get_payload_length();
        for (unsigned long i = 0; i < words; ++i) {
            out.put(view.get_uint16(2 * (TSCMD_PDU::payload_word_index + i)));
        }
    }
    if (parameters != nullptr) {
        parameters[0] = index;
    }
    return index;
}

unsigned long HCIPDUFactory::decomposeCommandCompletePDU(const PDU& pdu, unsigned long* parameters,
                                                         BadPDUReason& reason) {
    const HCICommandCompletePDU complete(pdu);
    const uint16_t opcode = complete.get_op_code();
    std::unique_ptr<HCICommandCompletePDU> view(CreateReturnView(opcode, pdu));
    if (!view) {
        if (!isValidHCICommand(opcode)) {
            reason = unknown_return_opcode;
            return 0;
        }
        view.reset(new HCICommandCompletePDU(pdu));
    }
    unsigned long index = 0;
    return view->decompose(parameters, reason, index) ? index : 0;
}

bool HCIPDUFactory::encodeBytes(const unsigned char* source, unsigned long count, const unsigned long* parameters,
                                unsigned long** cursor) {
    if (parameters == nullptr || cursor == nullptr || *cursor == nullptr) {
        return false;
    }
    const unsigned long used = static_cast<unsigned long>(*cursor - parameters);
    if (used > parameters[0] || parameters[0] - used < count) {
        return false;
    }
    for (unsigned long i = 0; i < count; ++i) {
        *(*cursor)++ = source != nullptr ? source[i] : 0;
    }
    return true;
}

namespace {

template <typename T>
unsigned long DecodeInto(T* destination, unsigned long maximum, const unsigned long* parameters,
                         const unsigned long** cursor) {
    if (parameters == nullptr || cursor == nullptr || *cursor == nullptr) {
        return 0;
    }
    const unsigned long* const end = parameters + parameters[0];
    const unsigned long remaining = *cursor < end ? static_cast<unsigned long>(end - *cursor) : 0;
    if (remaining == 0 || destination == nullptr || maximum == 0) {
        return remaining;
    }
    const unsigned long count = remaining < maximum ? remaining : maximum;
    for (unsigned long i = 0; i < count; ++i) {
        destination[i] = static_cast<T>(*(*cursor)++);
    }
    return count;
}

}  // namespace

unsigned long HCIPDUFactory::decodeBytes(unsigned char* destination, unsigned long maximum,
                                         const unsigned long* parameters, const unsigned long** cursor) {
    return DecodeInto(destination, maximum, parameters, cursor);
}

unsigned long HCIPDUFactory::decodeBytes16(unsigned short* destination, unsigned long maximum,
                                           const unsigned long* parameters, const unsigned long** cursor) {
    return DecodeInto(destination, maximum, parameters, cursor);
}

void ArrayWriter::put_bytes(const unsigned char* bytes, unsigned long count) {
    if (mParameters != nullptr) {
        unsigned long* cursor = mParameters + mIndex;
        if (mIndex > mRoom || !HCIPDUFactory::encodeBytes(bytes, count, mParameters, &cursor)) {
            mOk = false;
        }
    }
    mIndex += count;
}

bool ReturnLengthHolds(const HCICommandCompletePDU& pdu, const std::type_info& type, bool size_expected,
                       BadPDUReason& reason) {
    bool ok = false;
    const bool custom = custom_check_command_complete_length(&pdu, type, ok);
    if ((custom && !ok) || (!custom && (!pdu.size_ok() || !size_expected))) {
        reason = bad_return_length;
        return false;
    }
    return true;
}
