// The one exception type of the WLAN test client: a message and a
// commstest_error code. Thrown by the signal client and the wire-format
// decoders, and caught only by the commstest_ layer, which turns it into a
// code and a last-error text.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

class CCommstestError : public std::runtime_error {
public:
    CCommstestError(const std::string& message, int32_t code) : std::runtime_error(message), m_code(code) {}
    ~CCommstestError() override = default;

    int32_t code() const { return m_code; }

private:
    int32_t m_code;
};

// commstest_error codes.
enum : int32_t {
    COMMSTEST_OK = 0,
    COMMSTEST_OPEN_FAILED = 1,
    COMMSTEST_GENERAL = 2,
    COMMSTEST_NO_RESPONSE = 3,
    COMMSTEST_NOT_CONNECTED = 4,
    COMMSTEST_PROTOCOL = 200,
    COMMSTEST_INVALID_PARAMETER = 201,
    COMMSTEST_NOT_SUPPORTED = 202,
    COMMSTEST_NOT_PERMITTED = 203,
};
