// A running service with mail files of its own, and a client that speaks the protocol by hand.
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "common/Registry.h"
#include "tests/remote/SessionWorld.h"
#include "tools/service/ProviderLibrary.h"
#include "tools/service/ServiceListener.h"
#include "twaicp.h"

namespace tarnwick::testing {

inline constexpr const char* kTestCredentials = "ann:secret";

inline std::string ProgramFolder() {
    const std::string program = ExecutablePath();
    return program.substr(0, program.find_last_of("\\/"));
}

// Keeps the lines without the client's address in front.
class LogKeeper : public service::ServiceLog {
  public:
    void Write(const std::string& line) override {
        const std::lock_guard lock(mutex_);
        lines_.push_back(line.substr(line.find(' ') + 1));
    }
    std::vector<std::string> Lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }
    int Count(const std::string& text) const {
        const auto lines = Lines();
        return static_cast<int>(std::count(lines.begin(), lines.end(), text));
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

inline AppointmentRecord Appointment(const char* id, std::int32_t start = 10,
                                     std::int32_t end = 20) {
    AppointmentRecord record{};
    std::strcpy(record.mailbox, "ann");
    std::strcpy(record.postoffice, "PO");
    std::strcpy(record.calendarName, "Y11M08");
    std::strcpy(record.appointmentId, id);
    record.start = start;
    record.end = end;
    return record;
}

// A second copy of the library under another name, so that the service's state is not the client's;
// it finds its mail files in a scratch folder.
class ServiceWorld {
  public:
    explicit ServiceWorld(std::uint32_t idleMilliseconds = 60'000, std::size_t connections = 64,
                          std::uint32_t authenticationMilliseconds = 60'000) {
        options_.address.s_addr = htonl(INADDR_LOOPBACK);
        options_.credentials = kTestCredentials;
        options_.idleMilliseconds = idleMilliseconds;
        options_.authenticationMilliseconds = authenticationMilliseconds;
        options_.connectionLimit = connections;
        ScratchRegistry::SetString(HKEY_LOCAL_MACHINE, kProductKey, "Mail Root", folder_.Path());
        const std::string copy = folder_.Path("COPY.DLL");
        CopyFileA((ProgramFolder() + "\\TWAICP.DLL").c_str(), copy.c_str(), FALSE);
        library_ = std::make_unique<service::ProviderLibrary>(copy);
        Start(0);
        RegisterHost("S", kTestCredentials);
    }
    ~ServiceWorld() {
        Stop();
        library_.reset();
    }

    void Start(std::uint16_t port) {
        options_.port = port;
        listener_ = std::make_unique<service::ServiceListener>(options_, *library_, log);
        port_ = listener_->Port();
        thread_ = std::thread([this] { listener_->Serve(); });
    }
    void Stop() {
        if (!thread_.joinable()) return;
        listener_->Stop();
        thread_.join();
    }
    void RegisterHost(const std::string& name, const std::string& credentials) const {
        testing::RegisterHost(name, "127.0.0.1", port_);
        ScratchRegistry::SetString(HKEY_CURRENT_USER, HostKey(name), kCredentialsValue,
                                   credentials);
    }
    std::uint16_t Port() const { return port_; }
    // A file of the mailbox PO/ann's Calendar folder, after making the folder above it.
    std::string CalendarPath(const std::string& name) const {
        const std::string mailbox = folder_.Path("PO\\MAILROOT\\ann");
        MakePath(mailbox);
        return mailbox + "\\Calendar\\" + name;
    }
    service::ProviderLibrary& Library() { return *library_; }

    LogKeeper log;

  private:
    StartedWinsock winsock_;
    ScratchRegistry registry_;
    ScratchFolder folder_;
    service::ListenerOptions options_;
    std::unique_ptr<service::ProviderLibrary> library_;
    std::unique_ptr<service::ServiceListener> listener_;
    std::uint16_t port_ = 0;
    std::thread thread_;
};

class HandClient {
  public:
    explicit HandClient(std::uint16_t port) : socket_(CreateSocket()) {
        in_addr loopback{};
        loopback.s_addr = htonl(INADDR_LOOPBACK);
        Connect(socket_.Get(), loopback, port);
    }
    bool Send(std::string_view text) { return SendOnce(socket_.Get(), text); }
    // One answer, up to its "</DATA>"; what arrived before the end when the connection ends first.
    std::string Receive() {
        constexpr std::string_view kEnd = "</DATA>";
        char block[4096];
        std::size_t end;
        while ((end = received_.find(kEnd)) == std::string::npos) {
            const auto bytes = ReceiveOnce(socket_.Get(), block);
            if (!bytes) return std::exchange(received_, {}) + "(end)";
            received_ += *bytes;
        }
        const std::string answer = received_.substr(0, end + kEnd.size());
        received_.erase(0, answer.size());
        return answer;
    }
    std::string Ask(std::string_view request) { return Send(request) ? Receive() : "(unsent)"; }
    void FinishSending() { shutdown(socket_.Get(), SD_SEND); }

  private:
    Socket socket_;
    std::string received_;
};

}  // namespace tarnwick::testing
