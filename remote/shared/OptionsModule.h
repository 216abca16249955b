// The options module TWAISO.DLL, which answers configuration questions about postoffices and
// mailboxes. Loaded on first use, never unloaded.
//
// Threads: loading takes no lock. Two threads at a first use may both load the module; the second
// binding replaces the first with the same entries.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnwick {

// Loads the module and binds "GetOption", "GetOption_Ex" and "SetOption" in this order. 1 when
// "GetOption" and "SetOption" were both found; 0 otherwise, with what was found left bound.
int LoadOptionModule();

// The time zone of a mailbox; no value when the module does not know it.
std::optional<std::string> MailboxTimeZone(const std::string& postoffice,
                                           const std::string& mailbox);

// The root folder of a postoffice: "mailRoot\postoffice", unless the options module is asked (see
// below) and knows another.
std::string PostofficeRoot(std::string_view mailRoot, const std::string& postoffice);

// The options module is asked for the root only while this is 1. Nothing in the module sets it, so
// the root is always composed; the switch and the way behind it stay for those who will.
extern std::atomic<std::uint32_t> postofficeRootSwitch;

}  // namespace tarnwick
