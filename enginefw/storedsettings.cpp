#include "enginefw/storedsettings.h"

#include <cstdlib>

#include "enginefw/msghandler.h"
#include "enginefw/stringutil.h"

namespace storedsettings {

const std::string CONFIG_GROUP = "Config";
const std::string ROMLOADER_GROUP = "Romloader";
const std::string DEBUG_GROUP;
const std::string CONFIG_DEFAULT_DB = "DefaultDatabase";
const std::string CONFIG_BINARY_INPUT_PATH = "BinaryInputPath";
const std::string CONFIG_TEXT_INPUT_PATH = "TextInputPath";
const std::string CONFIG_BINARY_OUTPUT_PATH = "BinaryOutputPath";
const std::string CONFIG_TEXT_OUTPUT_PATH = "TextOutputPath";
const std::string DEBUG_LEVEL = "DebugLevel";
const std::string DEBUG_FILE = "DebugFile";
const std::string ROMLOADER_IMAGE = "Image";

namespace {
constexpr const char* kFile = "storedsettings";

CMessageHandler* Handler(const char* pretty) {
    return CTheMsgHnd::GetAppropriateHandler(CMessageHandler::GROUP_UNKNOWN, pretty, false);
}
}  // namespace

std::string EnvironmentVariableName(const std::string& group, const std::string& key) {
    std::string name = "TAVO_";
    if (!group.empty()) {
        name += group;
        name += "_";
    }
    name += key;
    return stringutil::ToUpper(name);
}

int GetEnvironmentVariable(std::string group, std::string key, std::string& value) {
    const std::string name = EnvironmentVariableName(group, key);
    if (CTheMsgHnd::IsDebugEngineRunning()) {
        Handler(__PRETTY_FUNCTION__)
            ->DebugOutputInHandler(CMessageHandler::DEBUG_BASIC, false, false, __PRETTY_FUNCTION__, kFile, __LINE__,
                                   "Read environment variable \"%s\"", name.c_str());
    }
    const char* const found = std::getenv(name.c_str());
    if (found != nullptr) {
        value = found;
    }
    if (CTheMsgHnd::IsDebugEngineRunning()) {
        Handler(__PRETTY_FUNCTION__)
            ->DebugOutputInHandler(CMessageHandler::DEBUG_BASIC, false, false, __PRETTY_FUNCTION__, kFile, __LINE__,
                                   "Environment variable: %s", found != nullptr ? "yes. " : "no. ");
    }
    return found != nullptr ? 0 : 1;
}

int GetString(std::string group, std::string key, std::string& value) {
    const int result = GetEnvironmentVariable(group, key, value);
    if (CTheMsgHnd::IsDebugEngineRunning()) {
        CMessageHandler* const handler = Handler(__PRETTY_FUNCTION__);
        if (result == 0) {
            handler->DebugOutputInHandler(CMessageHandler::DEBUG_BASIC, false, false, __PRETTY_FUNCTION__, kFile,
                                          __LINE__, "Returning value \"%s\"", value.c_str());
        } else {
            handler->DebugOutputInHandler(CMessageHandler::DEBUG_BASIC, false, false, __PRETTY_FUNCTION__, kFile,
                                          __LINE__, "No value found");
        }
    }
    return result;
}

int GetNumber(std::string group, std::string key, int& value) {
    std::string text;
    int result = GetEnvironmentVariable(group, key, text);
    const bool debug = CTheMsgHnd::IsDebugEngineRunning();
    CMessageHandler* const handler = Handler(__PRETTY_FUNCTION__);
    if (result == 0) {
        int number = 0;
        if (stringutil::StringToInteger(text, number)) {
            value = number;
        } else {
            if (debug) {
                handler->DebugOutputInHandler(CMessageHandler::DEBUG_BASIC, false, false, __PRETTY_FUNCTION__, kFile,
                                              __LINE__, "Could not convert \"%s\" to integer", text.c_str());
            }
            result = 1;
        }
    }
    if (debug) {
        if (result == 0) {
            handler->DebugOutputInHandler(CMessageHandler::DEBUG_BASIC, false, false, __PRETTY_FUNCTION__, kFile,
                                          __LINE__, "Returning value \"%d\"", value);
        } else {
            handler->DebugOutputInHandler(CMessageHandler::DEBUG_BASIC, false, false, __PRETTY_FUNCTION__, kFile,
                                          __LINE__, "No value found");
        }
    }
    return result;
}

int SetNumberInRegistry(std::string /*group*/, std::string /*key*/, int /*value*/) { return 1; }

int SetStringInRegistry(std::string /*group*/, std::string /*key*/, const std::string& /*value*/) { return 1; }

std::string GetRegistryKeyName(std::string /*group*/, std::string /*key*/) { return std::string(); }

}  // namespace storedsettings
