// The sibling file in which a message is rewritten before it takes the message's place.
#pragma once

#include <string>
#include <string_view>

#include "common/Files.h"
#include "Library/activity/messages/MessageStream.h"

namespace tarnwick {

struct MessagePaths {
    std::string message;
    std::string sibling;  // the same file name with "_" before it
};

MessagePaths PathsInFolder(std::string_view directory, std::string_view name);
MessagePaths PathsOfMessage(std::string_view path);

// The sibling, created empty over any that exists. Removed again at the end of its life unless it
// was told to stay, so that an edit that breaks off leaves the folder as it was.
class SiblingFile {
  public:
    explicit SiblingFile(const std::string& path) : path_(path), file_(path, kOpenTruncate) {}
    ~SiblingFile();
    SiblingFile(const SiblingFile&) = delete;
    SiblingFile& operator=(const SiblingFile&) = delete;

    bool IsOpen() const { return file_.IsOpen(); }
    File& Opened() { return file_; }
    // Closes the file and lets it stay. False when it could not be closed: it then does not stay.
    bool Finish();

  private:
    std::string path_;
    File file_;
    bool stays_ = false;
};

enum class DeleteRefused {
    Ignored,     // the move then fails too, and the sibling stays
    KeepMessage  // says so on standard output, and the sibling goes
};

// Deletes the message and moves the sibling to its name.
void SwapSiblingIn(const MessagePaths& paths, DeleteRefused deleteRefused);

class FileSink : public ByteSink {
  public:
    explicit FileSink(File& file) : file_(file) {}
    bool Write(std::string_view bytes) override { return file_.Write(bytes); }

  private:
    File& file_;
};

}  // namespace tarnwick
