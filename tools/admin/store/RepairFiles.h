// The file operations of repairs.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarnwick::admin {

struct Outcome {
    bool done;
    std::string text;
};
inline Outcome Done(std::string text) {
    return {true, std::move(text)};
}
inline Outcome Left(std::string text) {
    return {false, std::move(text)};
}

// Renames the file to its name and ".kept" (".kept2", ... where that is taken); the new name, empty
// when there is no such file; no value when it could not be renamed.
std::optional<std::string> SetAside(const std::string& path);
// The same with a copy; the file stays.
std::optional<std::string> KeepCopy(const std::string& path);

// Copies to a name that is free; of a copy that fails, on a full disk for one, nothing stays.
bool CopyToNew(const std::string& from, const std::string& to);

// Sets aside the file that is there and writes it anew. One that cannot be written whole is what it
// was before.
bool WriteAnew(const std::string& path, std::string_view bytes);

// Whether this account can make files in the folder: tried with one that goes when it is closed.
bool CanMakeFiles(const std::string& folder);

// Renames to a name that is free, waiting for readers that hold the file.
bool MoveInPlace(const std::string& from, const std::string& to);

}  // namespace tarnwick::admin
