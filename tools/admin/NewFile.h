// A file that comes into being beside its name and takes that when it is whole, so that nobody sees
// half of it there, whatever ends the tool. What was left of an earlier one is written over.
#pragma once

#include <string>
#include <string_view>

#include "common/Files.h"

namespace tarnwick::admin {

class NewFile {
  public:
    // Each throws Failure when it cannot be done.
    explicit NewFile(const std::string& path);
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile();

    void Write(std::string_view bytes);
    // Gives it its name, waiting for readers of a file that is to be replaced. Without `mayReplace`
    // no other may have the name.
    void Keep(bool mayReplace);

  private:
    std::string path_;
    std::string beside_;
    File file_;
    bool isKept_ = false;
};

}  // namespace tarnwick::admin
