// wlbt-hci: the packet classes of the Bluetooth link from a shell.
//
// Lists every class, builds an HCI or vendor command from the elements of its
// parameter array, and takes a Command Complete or a vendor reply apart into
// its array, through the library's own command factory.
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "pdu/hci_factory.h"

namespace {

const char kUsage[] =
    "usage: wlbt-hci list\n"
    "       wlbt-hci build NAME|0xOPCODE [ELEMENT...]\n"
    "       wlbt-hci build-vendor ELEMENT...\n"
    "       wlbt-hci decode ret|vendor HEX\n"
    "\n"
    "  list          one line per packet class: family (cmd, ret, evt, vendor), name,\n"
    "                code, default size in bytes\n"
    "  build         an HCI command from the array elements after the count and the\n"
    "                opcode; prints the packet (no H4 indicator) as hex\n"
    "  build-vendor  a vendor command from elements 1 and up of its array: request\n"
    "                type, sequence number, varid, fields; prints the packet as hex\n"
    "  decode        a Command Complete event (no H4 indicator) or a vendor reply:\n"
    "                prints its class, then array elements 1 and up\n"
    "\n"
    "Elements are decimal or 0x hex, at most 32 bits. Exit status: 0 done, 1 a bad\n"
    "packet or an unknown name, 2 a usage error.\n";

// Each failure is one line on standard error and an exit status.
struct Failure {
    int status;
    std::string message;
};

Failure Usage(const std::string& message) { return {2, "wlbt-hci: " + message + " (wlbt-hci --help for usage)"}; }

unsigned long ParseElement(const char* text) {
    const bool hex = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const char* digits = hex ? text + 2 : text;
    bool ok = *digits != '\0';
    for (const char* c = digits; *c != '\0'; ++c) {
        ok = ok && (hex ? std::isxdigit(static_cast<unsigned char>(*c)) : std::isdigit(static_cast<unsigned char>(*c)));
    }
    errno = 0;
    const unsigned long long value = ok ? std::strtoull(digits, nullptr, hex ? 16 : 10) : 0;
    if (!ok || errno == ERANGE || value > 0xFFFFFFFFull) {
        throw Usage(std::string("not an element (decimal or 0x hex, at most 32 bits): ") + text);
    }
    return static_cast<unsigned long>(value);
}

std::vector<uint8_t> ParseHex(const std::string& text) {
    if (text.empty() || text.size() % 2 != 0) {
        throw Usage("HEX needs an even number of hex digits: " + text);
    }
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < text.size(); i += 2) {
        if (!std::isxdigit(static_cast<unsigned char>(text[i])) ||
            !std::isxdigit(static_cast<unsigned char>(text[i + 1]))) {
            throw Usage("HEX has a character that is no hex digit: " + text);
        }
        bytes.push_back(static_cast<uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

void PrintHex(const PDU& pdu) {
    for (unsigned long i = 0; i < pdu.size(); ++i) {
        std::printf("%02x", pdu.data()[i]);
    }
    std::printf("\n");
}

const PacketClassInfo* FindClass(const char* family, uint16_t code) {
    for (unsigned long i = 0; i < kPacketClassCount; ++i) {
        if (std::strcmp(kPacketClasses[i].family, family) == 0 && kPacketClasses[i].code == code) {
            return &kPacketClasses[i];
        }
    }
    return nullptr;
}

int List() {
    for (unsigned long i = 0; i < kPacketClassCount; ++i) {
        const PacketClassInfo& c = kPacketClasses[i];
        std::printf("%s %s 0x%04x %lu\n", c.family, c.name, c.code, c.size);
    }
    return 0;
}

int Build(int argc, char** argv) {
    if (argc < 1) {
        throw Usage("build needs a command name or opcode");
    }
    unsigned long opcode = 0;
    if (argv[0][0] == '0' && (argv[0][1] == 'x' || argv[0][1] == 'X')) {
        opcode = ParseElement(argv[0]);
    } else {
        const PacketClassInfo* found = nullptr;
        for (unsigned long i = 0; i < kPacketClassCount && found == nullptr; ++i) {
            if (std::strcmp(kPacketClasses[i].family, "cmd") == 0 && std::strcmp(kPacketClasses[i].name, argv[0]) == 0) {
                found = &kPacketClasses[i];
            }
        }
        if (found == nullptr) {
            throw Failure{1, std::string("wlbt-hci: no HCI command is called ") + argv[0]};
        }
        opcode = found->code;
    }
    std::vector<unsigned long> array{static_cast<unsigned long>(argc + 1), opcode};
    for (int i = 1; i < argc; ++i) {
        array.push_back(ParseElement(argv[i]));
    }
    std::unique_ptr<HCIPDU> pdu(HCIPDUFactory::createCommandPDU(array.data()));
    if (!pdu) {
        throw Failure{1, isValidHCICommand(opcode) ? "wlbt-hci: the command refused its elements"
                                                   : "wlbt-hci: no HCI command has that opcode"};
    }
    PrintHex(*pdu);
    return 0;
}

int BuildVendor(int argc, char** argv) {
    if (argc < 3) {
        throw Usage("build-vendor needs at least the request type, sequence number and varid");
    }
    std::vector<unsigned long> array{static_cast<unsigned long>(argc + 1)};
    for (int i = 0; i < argc; ++i) {
        array.push_back(ParseElement(argv[i]));
    }
    const TSCMD_PDU pdu = HCIPDUFactory::createTSCMD_PDU(array.data());
    if (pdu.size() == 0) {
        throw Failure{1, "wlbt-hci: no vendor class has that varid"};
    }
    PrintHex(pdu);
    return 0;
}

int Decode(int argc, char** argv) {
    if (argc != 2 || (std::strcmp(argv[0], "ret") != 0 && std::strcmp(argv[0], "vendor") != 0)) {
        throw Usage("decode needs ret or vendor, and the packet as HEX");
    }
    const bool vendor = std::strcmp(argv[0], "vendor") == 0;
    const std::vector<uint8_t> bytes = ParseHex(argv[1]);
    const PDU pdu(vendor ? PDU::tscmd_channel : PDU::hci_channel, bytes.data(), bytes.size());
    // Element 0 gives the room; the longest reply of any class fits.
    std::vector<unsigned long> array(4096, 0);
    array[0] = array.size();
    BadPDUReason reason = bad_return_length;
    unsigned long used;
    const char* name;
    if (vendor) {
        used = HCIPDUFactory::decomposeTSCMD_PDU(pdu, array.data(), reason);
        const PacketClassInfo* c = FindClass("vendor", TSCMD_PDU(pdu).get_varid());
        name = c != nullptr ? c->class_name : "TSCMD_PDU";
    } else {
        used = HCIPDUFactory::decomposeCommandCompletePDU(pdu, array.data(), reason);
        const PacketClassInfo* c = FindClass("ret", HCICommandCompletePDU(pdu).get_op_code());
        name = c != nullptr ? c->class_name : "HCICommandCompletePDU";
    }
    if (used == 0) {
        throw Failure{1, "bad packet: reason " + std::to_string(static_cast<int>(reason))};
    }
    std::printf("%s\n", name);
    for (unsigned long i = 1; i < used && i < array.size(); ++i) {
        std::printf(i == 1 ? "%lu" : " %lu", array[i]);
    }
    std::printf("\n");
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc < 2) {
            throw Usage("a command is needed");
        }
        const std::string command = argv[1];
        if (command == "-h" || command == "--help") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (command == "list" && argc == 2) {
            return List();
        }
        if (command == "build") {
            return Build(argc - 2, argv + 2);
        }
        if (command == "build-vendor") {
            return BuildVendor(argc - 2, argv + 2);
        }
        if (command == "decode") {
            return Decode(argc - 2, argv + 2);
        }
        throw Usage("unknown command: " + command);
    } catch (const Failure& failure) {
        std::fprintf(stderr, "%s\n", failure.message.c_str());
        return failure.status;
    }
}
