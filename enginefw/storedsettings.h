// Settings of the framework, read from the environment.
//
// A setting is named by a group and a key; the variable read is "TAVO_", the
// group and "_" (only when the group is not empty), then the key, all upper-
// cased: (DEBUG_GROUP, DEBUG_LEVEL) is TAVO_DEBUGLEVEL, (Config,
// DefaultDatabase) is TAVO_CONFIG_DEFAULTDATABASE. A variable set to the empty
// string counts as found.
//
// The results are 0 for found and non-zero for not found. There is no registry
// on this platform: the setters store nothing and answer 1, and a later Get
// does not see what was "set".
//
// getenv is not guarded: the framework reads its settings once, at start.
#pragma once

#include <string>

namespace storedsettings {

extern const std::string CONFIG_GROUP;
extern const std::string ROMLOADER_GROUP;
extern const std::string DEBUG_GROUP;
extern const std::string CONFIG_DEFAULT_DB;
extern const std::string CONFIG_BINARY_INPUT_PATH;
extern const std::string CONFIG_TEXT_INPUT_PATH;
extern const std::string CONFIG_BINARY_OUTPUT_PATH;
extern const std::string CONFIG_TEXT_OUTPUT_PATH;
extern const std::string DEBUG_LEVEL;
extern const std::string DEBUG_FILE;
extern const std::string ROMLOADER_IMAGE;

// The environment variable name of (group, key).
std::string EnvironmentVariableName(const std::string& group, const std::string& key);

int GetEnvironmentVariable(std::string group, std::string key, std::string& value);
int GetString(std::string group, std::string key, std::string& value);
// Base 0: "0x10" is 16, "010" is 8; trailing text ("12x") is no number (1).
int GetNumber(std::string group, std::string key, int& value);

int SetNumberInRegistry(std::string group, std::string key, int value);
int SetStringInRegistry(std::string group, std::string key, const std::string& value);
std::string GetRegistryKeyName(std::string group, std::string key);

}  // namespace storedsettings
