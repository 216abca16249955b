// What tests under Windows share: a scratch registry and folder, counted waits, watched file calls
// and child processes. Each test runs in a process of its own, so nothing is put back at the end.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/CallObserver.h"
#include "common/Handle.h"
#include "common/Waits.h"

namespace tarnwick::testing {

// HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER redirected to fresh keys for this process.
class ScratchRegistry {
  public:
    ScratchRegistry();
    ~ScratchRegistry();
    ScratchRegistry(const ScratchRegistry&) = delete;
    ScratchRegistry& operator=(const ScratchRegistry&) = delete;

    // Writes under the redirected roots (HKEY_LOCAL_MACHINE or HKEY_CURRENT_USER).
    static void SetString(HKEY root, const std::string& key, const char* value,
                          const std::string& text);
    static void SetDword(HKEY root, const std::string& key, const char* value,
                         std::uint32_t number);

  private:
    std::string base_;
};

// Names (not paths) of what lies in a folder, sorted; none if there is no folder.
std::vector<std::string> NamesIn(const std::string& folder);

// A fresh empty folder with a Windows path, removed with its content at the end.
class ScratchFolder {
  public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    // Full path without a backslash at the end, or of something in the folder.
    const std::string& Path() const { return path_; }
    std::string Path(const std::string& name) const { return path_ + "\\" + name; }

    // Names (not paths) of what lies in the folder, sorted.
    std::vector<std::string> Names() const { return NamesIn(path_); }
    // Each file's name and bytes.
    std::string Contents() const;
    void Clear() const;

  private:
    std::string path_;
};

// Counts waits instead of sleeping; `onWait` (with the count from 1) may act in the middle of one.
class CountingSleeper : public Sleeper {
  public:
    explicit CountingSleeper(std::function<void(int)> onWait = {}) : onWait_(std::move(onWait)) {
        SetSleeper(this);
    }
    ~CountingSleeper() override { SetSleeper(nullptr); }
    void Sleep(std::uint32_t milliseconds) override;

    int Count() const { return count_; }
    std::uint64_t TotalMilliseconds() const { return total_; }

  private:
    std::function<void(int)> onWait_;
    int count_ = 0;
    std::uint64_t total_ = 0;
};

// Records file calls as "Name path" or "Name path -> path" with folders cut off, and may let the
// n-th one (from 1) fail, or end the process dead there.
class CallRecorder : public CallObserver {
  public:
    CallRecorder() { SetCallObserver(this); }
    ~CallRecorder() override { SetCallObserver(nullptr); }
    std::uint32_t BeforeCall(const SystemCall& call) override;

    void FailCall(int number, std::uint32_t error) { failNumber_ = number, failError_ = error; }
    // Lets every call with this name fail, or with this name and file, as recorded.
    void FailAll(const std::string& name, std::uint32_t error) {
        failName_ = name, failError_ = error;
    }
    void DieAtCall(int number) { dieNumber_ = number; }
    // Acts in front of each call, and gives the error with which it is to fail.
    std::function<std::uint32_t(const SystemCall&)> onCall;

    const std::vector<std::string>& Calls() const { return calls_; }
    int Count() const { return static_cast<int>(calls_.size()); }
    void Clear() { calls_.clear(); }

  private:
    std::vector<std::string> calls_;
    int failNumber_ = 0;
    std::uint32_t failError_ = 0;
    std::string failName_;
    int dieNumber_ = 0;
};

inline constexpr unsigned kDiedAtCall = 86;

// Runs this test program again with a gtest filter and extra environment ("NAME=value"); gives the
// exit status. For tests that need a second process or one that dies.
unsigned RunSelf(const std::string& filter, const std::vector<std::string>& environment);
// Starts it without waiting.
ObjectHandle StartSelf(const std::string& filter, const std::vector<std::string>& environment);
unsigned WaitForExit(const ObjectHandle& process);

// Value of an environment variable, empty when missing.
std::string Environment(const char* name);

std::string ReadBytesOf(const std::string& path);
void WriteBytesTo(const std::string& path, const std::string& bytes);
bool PathExists(const std::string& path);
void MakePath(const std::string& path);

}  // namespace tarnwick::testing
