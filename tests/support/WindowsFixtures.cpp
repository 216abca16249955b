#include "tests/support/WindowsFixtures.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "common/WindowsApi.h"

namespace tarnwick::testing {
namespace {

constexpr const char* kScratchParent = "Software\\TarnwickTests\\";

std::string UniqueName() {
    static int count = 0;
    return std::to_string(GetCurrentProcessId()) + "-" + std::to_string(GetTickCount64()) + "-" +
           std::to_string(++count);
}

void Redirect(HKEY root, const std::string& key) {
    HKEY scratch = nullptr;
    RegCreateKeyExA(HKEY_CURRENT_USER, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                    &scratch, nullptr);
    RegOverridePredefKey(root, scratch);
    RegCloseKey(scratch);
}

// Of a process that is to die, in the folder of the one that clears up behind it; else on a disk in
// memory where there is one: writing a file anew waits for a real one.
std::string ScratchParent() {
    const std::string victims = Environment("TARNWICK_VICTIM_FOLDER");
    if (!victims.empty()) return victims + "\\..\\";
    std::string parent = "Z:\\dev\\shm\\";
    if (PathExists(parent)) return parent;
    char temp[MAX_PATH];
    GetTempPathA(sizeof temp, temp);
    return temp;
}

HKEY CreateKey(HKEY root, const std::string& key) {
    HKEY created = nullptr;
    RegCreateKeyExA(root, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &created, nullptr);
    return created;
}

std::string NameOf(std::string_view path) {
    return std::string(path.substr(path.find_last_of("\\/") + 1));
}

}  // namespace

ScratchRegistry::ScratchRegistry() : base_(kScratchParent + UniqueName()) {
    Redirect(HKEY_LOCAL_MACHINE, base_ + "\\Machine");
    Redirect(HKEY_CURRENT_USER, base_ + "\\User");
}

ScratchRegistry::~ScratchRegistry() {
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegDeleteTreeA(HKEY_CURRENT_USER, base_.c_str());
    RegDeleteKeyA(HKEY_CURRENT_USER, base_.c_str());
}

void ScratchRegistry::SetString(HKEY root, const std::string& key, const char* value,
                                const std::string& text) {
    const RegistryKey created(CreateKey(root, key));
    RegSetValueExA(created.Get(), value, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>(text.size() + 1));
}

void ScratchRegistry::SetDword(HKEY root, const std::string& key, const char* value,
                               std::uint32_t number) {
    const RegistryKey created(CreateKey(root, key));
    RegSetValueExA(created.Get(), value, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                   sizeof number);
}

ScratchFolder::ScratchFolder() {
    path_ = ScratchParent() + "tw-" + UniqueName();
    CreateDirectoryA(path_.c_str(), nullptr);
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> NamesIn(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(folder, missing)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string ScratchFolder::Contents() const {
    std::string contents;
    for (const std::string& name : Names())
        contents += name + ": " + ReadBytesOf(Path(name)) + "\n";
    return contents;
}

void ScratchFolder::Clear() const {
    for (const std::string& name : Names()) std::filesystem::remove_all(Path(name));
}

void CountingSleeper::Sleep(std::uint32_t milliseconds) {
    total_ += milliseconds;
    ++count_;
    if (onWait_) onWait_(count_);
}

std::uint32_t CallRecorder::BeforeCall(const SystemCall& call) {
    std::string text(call.name);
    if (!call.path.empty()) text += " " + NameOf(call.path);
    if (!call.secondPath.empty()) text += " -> " + NameOf(call.secondPath);
    calls_.push_back(text);
    if (Count() == dieNumber_) TerminateProcess(GetCurrentProcess(), kDiedAtCall);
    const bool isNamed = !failName_.empty() && (call.name == failName_ || text == failName_);
    if (Count() == failNumber_ || isNamed) {
        return failError_;
    }
    return onCall ? onCall(call) : 0;
}

ObjectHandle StartSelf(const std::string& filter, const std::vector<std::string>& environment) {
    char program[MAX_PATH];
    GetModuleFileNameA(nullptr, program, sizeof program);
    for (const std::string& setting : environment) _putenv(setting.c_str());
    std::string command =
        "\"" + std::string(program) + "\" --gtest_also_run_disabled_tests --gtest_filter=" + filter;
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    // On a machine that is short of breath a start fails now and then; that is not what is tested.
    BOOL started = FALSE;
    for (int tries = 0; tries < 3 && started == FALSE; ++tries) {
        started = CreateProcessA(program, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                 nullptr, &startup, &process);
    }
    for (const std::string& setting : environment) {
        _putenv((setting.substr(0, setting.find('=')) + "=").c_str());
    }
    if (started == FALSE) return {};
    CloseHandle(process.hThread);
    return ObjectHandle(process.hProcess);
}

unsigned WaitForExit(const ObjectHandle& process) {
    WaitForSingleObject(process.Get(), INFINITE);
    DWORD status = ~0U;
    GetExitCodeProcess(process.Get(), &status);
    return status;
}

unsigned RunSelf(const std::string& filter, const std::vector<std::string>& environment) {
    return WaitForExit(StartSelf(filter, environment));
}

std::string Environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

std::string ReadBytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteBytesTo(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

bool PathExists(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

void MakePath(const std::string& path) {
    std::filesystem::create_directories(path);
}

}  // namespace tarnwick::testing
