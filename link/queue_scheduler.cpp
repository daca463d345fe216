// checkQueues: one pass of the worker. It sends what the credit of each
// channel allows, dispatches what has arrived from the chip while keeping the
// credit up to date from the events, and moves what an upstream host sent.
// Each phase takes at most eight PDUs, so that a pass stays short; what is left
// keeps its signal set and the next pass follows at once.
#include "enginefw/critical_section.h"
#include "link/devicecontroller_impl.h"
#include "pdu/hci_events.h"
#include "pdu/hci_returns.h"
#include "pdu/hcipdu.h"
#include "pdu/pcpdu.h"

namespace {

enum EventCode : uint8_t {
    connection_complete = 3,
    disconnection_complete = 5,
    command_complete = 14,
    command_status = 15,
    number_of_completed_packets = 19,
    command_credit = 25,
    synchronous_connection_complete = 44,
};

}  // namespace

void TesselDeviceController_newStyle::Implementation::checkQueues() {
    Transmit();
    Receive();
    Upstream();
}

void TesselDeviceController_newStyle::Implementation::Transmit() {
    for (unsigned channel = 0; channel < kChannels; ++channel) {
        Regulator& regulator = *mRegulators[channel];
        for (unsigned n = 0; n < kPerPass; ++n) {
            PDU pdu(null_pdu);
            {
                CriticalSectionLock hold(regulator.lock);
                if (regulator.pending == 0 || regulator.tokens == 0) {
                    break;
                }
                const sae entry = regulator.queue.front();
                regulator.queue.pop_front();
                if (regulator.tokens > 0) {
                    --regulator.tokens;
                }
                --regulator.pending;
                if (regulator.tokens == 0 || regulator.pending == 0) {
                    mWorkBox.unsetItem(regulator.item);
                }
                // The next PDU that arrives on this channel answers this one.
                regulator.current = entry.callback;
                pdu = entry.pdu;
            }
            mMainTransport->sendpdu(pdu);
            if (channel == PDU::acl_channel) {
                mTracker.removeData(pdu);
            }
        }
    }
}

void TesselDeviceController_newStyle::Implementation::Receive() {
    for (unsigned n = 0; n < kPerPass; ++n) {
        PDU pdu(null_pdu);
        if (!mMainCollector.Take(pdu)) {
            return;
        }
        Inspect(pdu);
        const uint32_t channel = pdu.channel() < kChannels ? static_cast<uint32_t>(pdu.channel()) : 0u;
        Regulator& regulator = *mRegulators[channel];
        bool taken = false;
        {
            CriticalSectionLock hold(regulator.lock);
            if (regulator.current) {
                (*regulator.current)(pdu);
                regulator.current.clr();
                taken = true;
            }
        }
        if (!taken) {
            mProvider.onPDU(pdu);
        }
        const uint32_t c = pdu.channel();
        if (mUpstreamTransport != nullptr &&
            (c == PDU::hq_channel || c == PDU::hci_channel || c == PDU::acl_channel || c == PDU::sco_channel)) {
            sendUp(pdu);
        }
    }
}

void TesselDeviceController_newStyle::Implementation::Upstream() {
    for (unsigned n = 0; n < kPerPass; ++n) {
        PDU pdu(null_pdu);
        if (!mUpstreamCollector.Take(pdu)) {
            return;
        }
        const uint32_t c = pdu.channel();
        if (c == PDU::hci_channel || c == PDU::acl_channel || c == PDU::sco_channel) {
            send(sae(pdu, mSecondCallback), true);
        } else {
            send(sae(pdu, mPassUp), true);
        }
    }
}

void TesselDeviceController_newStyle::Implementation::Inspect(const PDU& pdu) {
    switch (pdu.channel()) {
    case PDU::hq_channel: {
        // A request from the chip is answered with itself, marked as a response.
        const HQ_PDU request(pdu);
        if (request.get_req_type() == 2) {
            HQ_PDU response(request.clone());
            response.set_req_type(1);
            send(sae(response, no_call_back), true);
        }
        break;
    }
    case PDU::tscmd_channel:
        // Whatever arrives on the vendor channel is the reply that frees the next command.
        mRegulators[PDU::tscmd_channel]->setToken(1);
        break;
    case PDU::hci_channel:
        InspectEvent(pdu);
        break;
    default:
        break;
    }
}

void TesselDeviceController_newStyle::Implementation::ScoConnected(uint16_t handle) {
    const uint32_t step = ScoStep();
    mScoMap[handle] = step;
    if (mCurrentBandwidth == mRequestedBandwidth) {
        mRequestedBandwidth += step;
    }
    mCurrentBandwidth += step;
    mMainTransport->set_sco_bandwidth(static_cast<int>(mCurrentBandwidth.load()));
}

void TesselDeviceController_newStyle::Implementation::InspectEvent(const PDU& pdu) {
    const HCIEventPDU event(pdu);
    Regulator& commands = *mRegulators[PDU::hci_channel];
    switch (event.get_event_code()) {
    case connection_complete: {
        const HCI_EV_CONN_COMPLETE_T_PDU complete(pdu);
        if (complete.get_status() != 0 && complete.get_link_type() == 0) {
            mRequestedBandwidth -= ScoStep();
            mMainTransport->set_sco_bandwidth(static_cast<int>(mCurrentBandwidth.load()));
        } else if (complete.get_status() == 0 && complete.get_link_type() != 1) {
            ScoConnected(complete.get_handle());
        }
        if (complete.get_status() == 0 && complete.get_link_type() == 1) {
            mTracker.addConnection(complete.get_handle());
        }
        break;
    }
    case disconnection_complete: {
        const HCI_EV_DISCONNECT_COMPLETE_T_PDU complete(pdu);
        if (complete.get_status() != 0) {
            break;
        }
        const uint16_t handle = complete.get_handle();
        if (mTracker.usingConnection(handle)) {
            mTracker.removeConnection(handle);
            break;
        }
        if (handle != 0) {
            const uint32_t bandwidth = mScoMap[handle];  // an unknown handle reads 0 and changes nothing
            mCurrentBandwidth -= bandwidth;
            mRequestedBandwidth -= bandwidth;
            mScoMap.erase(handle);
        } else {
            mRequestedBandwidth -= ScoStep();
        }
        mMainTransport->set_sco_bandwidth(static_cast<int>(mCurrentBandwidth.load()));
        break;
    }
    case command_complete: {
        const HCICommandCompletePDU complete(pdu);
        commands.setToken(complete.get_num_hci_command_pkts());
        switch (complete.get_op_code()) {
        case 0x1005: {
            const HCI_READ_BUFFER_SIZE_RET_T_PDU sizes(pdu);
            if (!mBufferSizeKnown && sizes.get_status() == 0) {
                mBufferSizeKnown = 1;
                mRegulators[PDU::acl_channel]->setToken(sizes.get_total_acl_data_pkts());
            }
            break;
        }
        case 0x2002: {
            const HCI_ULP_READ_BUFFER_SIZE_RET_T_PDU sizes(pdu);
            if (!mBufferSizeKnown && sizes.get_status() == 0) {
                mBufferSizeKnown = 1;
                mRegulators[PDU::acl_channel]->setToken(sizes.get_num_data_packets());
            }
            break;
        }
        case 0x0C25: {
            const HCI_READ_VOICE_SETTING_RET_T_PDU voice(pdu);
            if (voice.get_status() == 0) {
                mSampleSize = (voice.get_voice_setting() & 0x20) != 0 ? 16 : 8;
            }
            break;
        }
        default:
            break;
        }
        break;
    }
    case command_status: {
        const HCI_EV_COMMAND_STATUS_T_PDU status(pdu);
        commands.setToken(status.get_num_hci_command_pkts());
        if (status.get_op_code() == 0x0407 && status.get_status() != 0) {
            mRequestedBandwidth -= ScoStep();
            mMainTransport->set_sco_bandwidth(static_cast<int>(mCurrentBandwidth.load()));
        }
        break;
    }
    case number_of_completed_packets: {
        const HCI_EV_NUMBER_COMPLETED_PKTS_T_PDU completed(pdu);
        Regulator& acl = *mRegulators[PDU::acl_channel];
        for (unsigned entry = 0; entry < completed.get_num_handles(); ++entry) {
            // Handles are not told apart: the credit is one pool for all of ACL.
            const uint16_t count = pdu.get_uint16(3 + 4 * entry + 2);
            CriticalSectionLock hold(acl.lock);
            acl.tokens += count;
            if (acl.tokens != 0 && acl.pending != 0) {
                mWorkBox.setItem(acl.item);
            }
        }
        break;
    }
    case command_credit:
        commands.setToken(1);
        break;
    case synchronous_connection_complete: {
        const HCI_EV_SYNC_CONN_COMPLETE_T_PDU complete(pdu);
        if (complete.get_status() == 0) {
            ScoConnected(complete.get_handle());
        } else {
            mRequestedBandwidth -= ScoStep();
        }
        break;
    }
    default:
        break;
    }
}
