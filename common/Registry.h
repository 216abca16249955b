// Reading the registry, with query-value access only. Settings that are read once per process are
// cached by whoever owns them.
#pragma once

#include <cstdint>
#include <span>

namespace tarnwick {

enum class RegistryRoot { LocalMachine, CurrentUser };

// The product's keys. The main key lies under "Wow6432Node" and the providers' key does not: kept
// so, since installed systems have their values where they are.
inline constexpr const char* kProductKey = "SOFTWARE\\Wow6432Node\\Tarnwick\\Tarnwick";
inline constexpr const char* kProductProvidersKey =
    "SOFTWARE\\Wow6432Node\\Tarnwick\\Tarnwick\\Providers";
inline constexpr const char* kProvidersKey = "SOFTWARE\\Tarnwick\\Tarnwick\\Providers";

// Reads a text into `output` and terminates it (in place of the last byte of a value that fills the
// output without a terminator); true when there was one. An output of no bytes is left alone;
// otherwise a key or value that cannot be read, a value of no bytes and one longer than the output
// leave the empty text and give false, and so does want of memory.
bool ReadRegistryString(RegistryRoot root, const char* key, const char* value,
                        std::span<char> output);

// Reads a 4-byte value; false, with `number` untouched, when the key's name is empty or key or
// value cannot be read. Needs no memory, so that a loop of retries may ask in the middle of a swap.
bool ReadRegistryDword(RegistryRoot root, const char* key, const char* value,
                       std::uint32_t& number);

// The same under HKEY_LOCAL_MACHINE with a default; a value present as 0 is 0.
std::uint32_t RegistryDwordOr(const char* key, const char* value, std::uint32_t defaultNumber);

// Stores the folder under which every postoffice lies: the registry's "Mail Root", also an empty
// one; when that cannot be read, its "Data Directory" followed by "\Postoffices", cut to fit; when
// neither can, the empty text: paths then begin with a backslash and mean the root of the current
// drive. Reads the registry at each call.
void ReadMailRoot(std::span<char> root);

}  // namespace tarnwick
