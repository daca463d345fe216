// Rate codes, corrected channels and frame intervals. The floating-point
// steps keep the widths the firmware's expectations were computed with:
// results of ceil depend on them.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "wlan/WlanDutLib.h"
#include "wlan/wlandut_log.h"

namespace {

const uint16_t legacy_data_rate[15] = {0, 1, 2, 5, 0x2006, 0x2009, 11, 0x200C, 0x2012, 0, 0x2018, 0, 0x2024, 0x2030, 0x2036};

// Data bits per symbol by data rate index. Index 24 of the 20 MHz table is
// 720 like the 40 MHz one; 20 MHz at that index is refused before it is used.
const uint16_t NdbpsOFDM_20[25] = {0,  0,   0,   0,   24,  36,  0,   48,  72,  0,   96,  0,  144,
                                   192, 216, 26, 52, 78, 104, 156, 208, 234, 260, 312, 720};
const uint16_t Ndbps40[25] = {0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,  0,
                              0,   0,   54, 108, 162, 216, 324, 432, 486, 540, 648, 720};
const uint16_t Ndbps80[25] = {0,   0,   0,   0,   0,   0,   0,    0,    0,    0,    0,    0,   0,
                              0,   0,   117, 234, 351, 468, 702, 936, 1053, 1170, 1404, 1560};

const uint16_t NbpscHE[12] = {1, 2, 2, 4, 4, 6, 6, 6, 8, 8, 10, 10};
// The plain decimals 0.67 and 0.83 as floats, not 2/3 and 5/6.
const float NcrHE[12] = {0.5f, 0.5f, 0.75f, 0.5f, 0.75f, 0.67f, 0.75f, 0.83f, 0.75f, 0.83f, 0.75f, 0.83f};
const uint16_t NsdHE[6] = {24, 48, 102, 234, 468, 980};

const int kChannels80[4][6] = {{36, 52, 100, 116, 132, 149},
                               {48, 64, 112, 128, 144, 161},
                               {40, 56, 104, 120, 136, 153},
                               {44, 60, 108, 124, 140, 157}};
const int kOffsets80[4] = {6, -6, 2, -2};
// Channel 144 is missing at 40 MHz (a 0 stands in its place) and passes
// unchanged there.
const int kChannels40[2][12] = {{36, 44, 52, 60, 100, 108, 116, 124, 132, 140, 149, 157},
                                {40, 48, 56, 64, 104, 112, 120, 128, 136, 153, 161, 0}};
const int kOffsets40[2] = {2, -2};

double DoubleFromBits(uint64_t bits) {
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
}

// 12.8 + 0.8 and 14.4 as the firmware's arithmetic has them; the first is
// one step above the nearest double to 13.6, and that changes results.
const double kHeSymbolGi0 = DoubleFromBits(0x402B333333333334ULL);
const double kHeSymbolGi1 = DoubleFromBits(0x402CCCCCCCCCCCCDULL);

uint16_t TableAt(const uint16_t (&table)[25], int index) {
    return index >= 0 && index < 25 ? table[index] : 0;
}

}  // namespace

uint16_t CWlanDutLib::GetDataRate(int rate, int sgi, int vht, int gi, int he, int bandwidth, int ant) {
    if (rate <= 14) return rate >= 0 ? legacy_data_rate[rate] : 0;

    unsigned int streams = 0;
    if (he == 1) {
        if (ant == 0) {
            streams = 1;
        } else if (ant == 1 || ant == 2) {
            streams = 0;
        } else {
            return 0;
        }
        if (rate < 15 || rate > 26 || bandwidth < 1 || bandwidth > 3) return 0;
        const unsigned int mcs = static_cast<unsigned int>(rate - 15);
        DLOG("11ax mode : %d, bw : %d, NSS : %d, DCM : %d, gi : %d, mcs : %d", 4, bandwidth - 1, streams, 0, gi, mcs);
        return static_cast<uint16_t>((4u << 13) | (static_cast<unsigned int>(bandwidth - 1) << 10) | (streams << 7) |
                                     ((static_cast<unsigned int>(gi) & 3u) << 4) | mcs);
    }

    unsigned int mode = 0;
    if (vht == 0) {
        mode = 2;
        if (ant == 0) {
            if (rate >= 23 && rate <= 30) {
                streams = 1;
            } else if (rate >= 15 && rate <= 22) {
                streams = 0;
            } else {
                return 0;
            }
        } else if (ant == 1 || ant == 2) {
            streams = 0;
            if (!((rate >= 15 && rate <= 22) || rate == 47)) return 0;
        } else {
            return 0;
        }
        if (bandwidth != 1 && bandwidth != 2) return 0;
        if (rate == 47 && bandwidth == 1) return 0;
    } else {
        mode = 3;
        if (ant == 0) {
            streams = 1;
        } else if (ant == 1 || ant == 2) {
            streams = 0;
        } else {
            return 0;
        }
        if (rate < 15 || rate > 24) return 0;
        if (rate == 24 && bandwidth == 1) return 0;
        if (bandwidth < 1 || bandwidth > 3) return 0;
    }
    const unsigned int mcs = static_cast<unsigned int>(rate - 15);
    DLOG("mode : %d, bw : %d, NSS : %d, sg : %d, mcs : %d", mode, bandwidth - 1, streams, sgi, mcs);
    return static_cast<uint16_t>((mode << 13) | (static_cast<unsigned int>(bandwidth - 1) << 10) | (streams << 7) |
                                 ((static_cast<unsigned int>(sgi) & 1u) << 6) | (mcs & 0x3Fu));
}

uint16_t CWlanDutLib::GetChannelCorrected(int channel, int bandwidth) {
    if (bandwidth == 2 || bandwidth == 5) {
        // 2.4 GHz channels always take the upper neighbour.
        if (channel < 20) return static_cast<uint16_t>(channel + 2);
        for (int row = 0; row < 2; ++row) {
            for (const int c : kChannels40[row]) {
                if (c == channel) return static_cast<uint16_t>(channel + kOffsets40[row]);
            }
        }
    } else if (bandwidth == 3) {
        for (int row = 0; row < 4; ++row) {
            for (const int c : kChannels80[row]) {
                if (c == channel) return static_cast<uint16_t>(channel + kOffsets80[row]);
            }
        }
    }
    return static_cast<uint16_t>(channel);
}

int CWlanDutLib::CalculateInterval(int bandwidth, int at_data_rate, int wlan_data_rate, int long_preamble, int sgi,
                                   int he, int gi, int resource_unit, int burst_interval, int payload_size,
                                   int /*ant*/) {
    // 30 bytes of MAC header and frame check; 22 bits of service and tail;
    // 5 legacy preamble symbols.
    const int L = payload_size + 30;
    const float bits = static_cast<float>(L * 8 + 22);

    if (at_data_rate == 1) return (L + 24) * 8 + burst_interval;
    if (at_data_rate == 2 || at_data_rate == 3 || at_data_rate == 6) {
        const float bitRate = at_data_rate == 2 ? 2.0f : at_data_rate == 3 ? 5.5f : 11.0f;
        const float micros = static_cast<float>(L * 8) / bitRate;
        const int air = static_cast<int>(std::round(static_cast<double>(micros)));
        return air + burst_interval + (long_preamble != 0 ? 192 : 96);
    }
    if (at_data_rate >= 4 && at_data_rate <= 14) {
        const uint16_t n = NdbpsOFDM_20[at_data_rate];
        if (n == 0) {
            DLOG("Not allowed at_data_rate");
            return 0;
        }
        const int symbols = static_cast<int>(std::ceil(bits / static_cast<float>(n)));
        return (symbols + 5) * 4 + burst_interval;
    }

    if (he == 1) {
        const int m = at_data_rate - 15;
        if (m < 0 || m > 11) {
            DLOG("Not allowed at_data_rate");
            return 0;
        }
        float preamble = resource_unit == -1 ? 36.0f : 40.0f;
        if (gi == 0) {
            preamble += 4.0f;
        } else if (gi == 1) {
            preamble += 8.0f;
        } else if (gi == 2) {
            preamble += 16.0f;
        }
        int selector;
        if (resource_unit == -1) {
            selector = bandwidth == 1 ? 3 : bandwidth == 2 ? 4 : 5;
        } else {
            selector = resource_unit <= 36 ? 0 : resource_unit <= 52 ? 1 : resource_unit <= 60 ? 2
                     : resource_unit <= 64 ? 3 : resource_unit <= 66 ? 4 : 5;
        }
        const float perCarrier = static_cast<float>(NbpscHE[m]) * NcrHE[m];
        const int bitsPerSymbol = static_cast<int>(perCarrier * static_cast<float>(NsdHE[selector]));
        if (bitsPerSymbol <= 0) {
            DLOG("Not allowed at_data_rate");
            return 0;
        }
        const int symbols = static_cast<int>(std::ceil(bits / static_cast<float>(bitsPerSymbol)));
        const double symbolTime = gi == 0 ? kHeSymbolGi0 : gi == 1 ? kHeSymbolGi1 : 16.0;
        const int air = static_cast<int>(
            std::ceil(static_cast<double>(static_cast<float>(symbols)) * symbolTime + static_cast<double>(preamble)));
        return air + burst_interval;
    }

    // HT and VHT: the table and the preamble symbols by the rate code. Two-
    // stream HT looks up its one-stream twin eight indices down.
    const unsigned int code = static_cast<unsigned int>(wlan_data_rate);
    const int r = at_data_rate;
    int n = 0;
    int p = 0;
    if (code >= 0x4000 && code <= 0x4047) {
        n = TableAt(NdbpsOFDM_20, r); p = 9;
    } else if (code >= 0x4088 && code <= 0x40CF) {
        n = TableAt(NdbpsOFDM_20, r - 8); p = 9;
    } else if ((code >= 0x4400 && code <= 0x4407) || (code >= 0x4440 && code <= 0x4447)) {
        n = TableAt(Ndbps40, r); p = 9;
    } else if (code >= 0x4488 && code <= 0x44CF) {
        n = TableAt(Ndbps40, r - 8); p = 9;
    } else if ((code >= 0x6000 && code <= 0x6048) || (code >= 0x6080 && code <= 0x60C8)) {
        n = TableAt(NdbpsOFDM_20, r); p = 10;
    } else if ((code >= 0x6400 && code <= 0x6449) || (code >= 0x6480 && code <= 0x64C9)) {
        n = TableAt(Ndbps40, r); p = 10;
    } else if ((code >= 0x6800 && code <= 0x6849) || (code >= 0x6880 && code <= 0x68C9)) {
        n = TableAt(Ndbps80, r); p = 10;
    } else if (code == 0x4420 || code == 0x4460) {
        n = 24; p = 9;
    } else {
        DLOG("incorrect wlan_data_rate");
        return 0;
    }
    if (n == 0) {
        DLOG("Not allowed at_data_rate");
        return 0;
    }
    const int symbols = static_cast<int>(std::ceil(bits / static_cast<float>(n)));
    int air;
    if (sgi == 1) {
        air = static_cast<int>(std::ceil(static_cast<double>(static_cast<float>(symbols)) * 3.6 +
                                         static_cast<double>(static_cast<float>(p)) * 4.0));
    } else {
        air = static_cast<int>(std::ceil(static_cast<float>(symbols) * 4.0f + static_cast<float>(p) * 4.0f));
    }
    return air + burst_interval;
}
