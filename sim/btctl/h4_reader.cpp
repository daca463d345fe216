#include "sim/btctl/h4_reader.h"

namespace tavo::sim::btctl {

void H4Reader::Feed(const std::uint8_t* data, std::size_t size, std::vector<H4Item>& out) {
    for (std::size_t i = 0; i < size; ++i) {
        const std::uint8_t byte = data[i];
        if (packet_.empty()) {
            if (byte == kH4Command || byte == kH4Acl || byte == kH4Sco) {
                packet_.push_back(byte);
                headerLength_ = byte == kH4Acl ? 4 : 3;
                total_ = 0;
                inGarbage_ = false;
                continue;
            }
            ++skipped_;
            if (!inGarbage_) {
                inGarbage_ = true;
                out.push_back(H4Item{H4Item::Kind::kGarbage, Bytes{byte}});
            }
            continue;
        }
        packet_.push_back(byte);
        if (packet_.size() == 1 + headerLength_) {
            // The length is the header's last byte, and for ACL the last two.
            std::size_t payload = packet_[headerLength_];
            if (packet_[0] == kH4Acl) payload = packet_[3] | static_cast<std::size_t>(packet_[4]) << 8;
            total_ = 1 + headerLength_ + payload;
        }
        if (total_ != 0 && packet_.size() == total_) {
            out.push_back(H4Item{H4Item::Kind::kPacket, std::move(packet_)});
            packet_.clear();
        }
    }
}

}  // namespace tavo::sim::btctl
