// Editing the header of stored messages: the private fields "X-UID:" and "X-TWTempFlags:", and any
// field by name. A message is copied to a sibling file, "_" and its name, which takes its place.
//
// None of these takes a lock: callers hold whatever guards the folder's messages. None throws. A
// message whose copy could not be completed stays as it was; what is lost besides is said below.
// The identifier and flag operations do nothing unless the DWORD "UID Branding Enabled", read once
// per process, is set under the product's key.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarnwick {

// Sets the flags field to `flags`; with `dropUid` removes every identifier line. Always 1.
int SetMessageTempFlags(std::string_view directory, std::string_view name, std::string_view flags,
                        bool dropUid);

// Sets the unique identifier ("high.low", or "low" alone when the high part is 0); adds `flags`,
// when given, to a message without a flags field. Always 1. When the sibling cannot be created the
// message is removed.
int SetMessageUid(std::string_view directory, std::string_view name, std::uint32_t uidHigh,
                  std::uint32_t uidLow, std::optional<std::string_view> flags);

// 1 when the header holds a flags field, else 0.
int HasMessageTempFlags(std::string_view directory, std::string_view name);

// Removes every identifier and flags line from the header; a message without any stays untouched.
// The identifier given here goes nowhere: a copy that could hold it would not be wanted. Always 1.
int StripMessageUidAndFlags(std::string_view directory, std::string_view name,
                            std::uint32_t uidHigh, std::uint32_t uidLow);

// Sets every field `fieldName` (with or without its colon, written as given) of the message at the
// full path to `value`, or adds it. With `createIfMissing` a missing file is created with the field
// alone.
void SetMessageHeaderField(std::string_view path, std::string_view fieldName,
                           std::string_view value, bool createIfMissing);

}  // namespace tarnwick
