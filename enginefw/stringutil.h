// String helpers of the framework.
//
// Whitespace, everywhere here, is the six characters blank, tab, form feed,
// vertical tab, newline and carriage return.
//
// StringToInteger and StringToULong use base 0 (so "0x10" is 16 and "010" is
// 8). They write the target before they judge the text, and answer false for
// an empty text, trailing text or an errno from the conversion (out of range);
// StringToInteger also for a value beyond int.
//
// The small parse and render helpers at the end (HexStrToInt, OctStrToString,
// OctetToOctetString, StringToMap) have these rules of ours:
//   HexStrToInt    hex digits with an optional "0x"/"0X" in front, at most
//                  32 bits; nothing else, no sign, no blanks.
//   OctStrToString pairs of hex digits ("%.2x" per byte, the form
//                  StringToOctStr writes) back to bytes; an odd length or a
//                  non-hex digit is refused.
//   OctetToOctetString one byte as two lower-case hex digits.
//   StringToMap    "key=value" entries separated by ",", each key and value
//                  trimmed of whitespace; an entry without "=" or with an
//                  empty key is refused; a repeated key keeps its last value;
//                  an empty text is an empty map.
// A refused text leaves the output cleared and answers false.
#pragma once

#include <map>
#include <sstream>
#include <string>

namespace stringutil {

enum PadAlignEnum : int { PAD_ALIGN_LEFT = 0, PAD_ALIGN_RIGHT = 1 };

bool IsWhitespace(char c);
void TrimLeadingWhitespace(std::string& text);
void TrimTrailingWhitespace(std::string& text);
void TrimLeadingAndTrailingWhitespace(std::string& text);

bool StringToInteger(const std::string& text, int& value);
bool StringToULong(const std::string& text, unsigned long& value);

std::string ToLower(const std::string& text);
std::string ToUpper(const std::string& text);

// Hexadecimal, zero-filled to digits; leaves the stream decimal with width 1.
void WriteUndecoratedHexNumberToStream(std::ostringstream& stream, int number, int digits);
// The same with "0x" in front.
void WriteHexNumberToStream(std::ostringstream& stream, int number, int digits);

// Each byte as two lower-case hex digits.
std::string StringToOctStr(const std::string& text);

// Pads with pad up to width: at the end for PAD_ALIGN_LEFT (0), at the front
// otherwise. A text already that wide, or a pad of 0, comes back unchanged.
std::string PadString(const std::string& text, char pad, unsigned width, PadAlignEnum align);

bool HexStrToInt(const std::string& text, int& value);
bool OctStrToString(const std::string& octets, std::string& text);
std::string OctetToOctetString(unsigned char octet);
bool StringToMap(const std::string& text, std::map<std::string, std::string>& entries);

}  // namespace stringutil
