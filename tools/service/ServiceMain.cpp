// tarnwick-service: runs the calendar library for clients on other machines.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "common/Files.h"
#include "common/Reports.h"
#include "remote/AdminHost.h"
#include "remote/AdminProtocol.h"
#include "tools/service/ProviderLibrary.h"
#include "tools/service/ServiceListener.h"
#include "tools/service/ServiceSession.h"

namespace {

using namespace tarnwick;
using namespace tarnwick::service;

constexpr const char* kCredentialsVariable = "TARNWICK_SERVICE_CREDENTIALS";
enum ExitStatus { kStopped = 0, kFailed = 1, kWrongUsage = 2 };

struct Settings {
    std::string address = "127.0.0.1";
    std::uint16_t port = kAdminPort;
    std::string credentialsFile;
    std::uint32_t idleSeconds = 600;
    std::size_t connections = 64;
};

// Lines go to the standard output, each with the time of day in UTC.
class ConsoleLog : public ServiceLog {
  public:
    void Write(const std::string& line) override {
        SYSTEMTIME now;
        GetSystemTime(&now);
        std::printf("%04u-%02u-%02uT%02u:%02u:%02uZ %s\n", now.wYear, now.wMonth, now.wDay,
                    now.wHour, now.wMinute, now.wSecond, line.c_str());
        std::fflush(stdout);
    }
};

// The envelope traces every parameter for the client's sake; here the log says what matters.
class NoTraces : public ReportSink {
  public:
    NoTraces() { SetReportSink(this); }
    ~NoTraces() override { SetReportSink(nullptr); }
    void Report(ReportChannel /*channel*/, std::string_view /*text*/) override {}
};

// Longer than the system lets a program take that has to close.
constexpr DWORD kClosingMilliseconds = 60'000;

ServiceListener* runningListener = nullptr;
HANDLE runningEnded = nullptr;

BOOL WINAPI OnConsoleEvent(DWORD event) {
    runningListener->Stop();
    // Behind any other event the process ends as soon as this returns, whatever is still running.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        WaitForSingleObject(runningEnded, kClosingMilliseconds);
    }
    return TRUE;
}

// Lets Ctrl-C, the closing of the console and the end of the session stop the listener.
class StopOnConsoleEvent {
  public:
    explicit StopOnConsoleEvent(ServiceListener& listener) {
        runningListener = &listener;
        runningEnded = ended_.Get();
        // A parent may have had Ctrl-C ignored for its children.
        SetConsoleCtrlHandler(nullptr, FALSE);
        SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
    }
    ~StopOnConsoleEvent() {
        SetEvent(ended_.Get());
        SetConsoleCtrlHandler(OnConsoleEvent, FALSE);
    }

  private:
    ObjectHandle ended_{CreateEventA(nullptr, TRUE, FALSE, nullptr)};
};

std::string ReadCredentials(const std::string& file) {
    const char* variable = std::getenv(kCredentialsVariable);
    const auto text = file.empty() ? std::optional<std::string>(variable == nullptr ? "" : variable)
                                   : ReadWholeFile(file);
    if (!text) throw std::runtime_error("cannot read " + file);
    const auto credentials = UsableCredentials(*text);
    if (credentials) return *credentials;
    throw std::runtime_error(
        std::string("no usable credentials: put 1 to 255 characters without \"<\" on the first "
                    "line of a file (--credentials-file) or into ") +
        kCredentialsVariable);
}

ListenerOptions ToOptions(const Settings& settings) {
    ListenerOptions options;
    const auto address = ResolveHost(settings.address);
    if (!address) throw std::runtime_error("no address " + settings.address);
    options.address = *address;
    options.port = settings.port;
    options.credentials = ReadCredentials(settings.credentialsFile);
    options.idleMilliseconds = settings.idleSeconds * 1000;
    options.connectionLimit = settings.connections;
    return options;
}

std::string LibraryPath() {
    const std::string program = ExecutablePath();
    return program.substr(0, program.find_last_of("\\/") + 1) + "TWAICP.DLL";
}

int ExplainUsage(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // the help or the version
    std::fprintf(stderr, "tarnwick-service: %s; see tarnwick-service --help\n", error.what());
    return kWrongUsage;
}

int Run(const Settings& settings) {
    const StartedWinsock winsock;
    const NoTraces noTraces;
    if (IsDefaultHostForced(ExecutablePath()) != 0) {
        throw std::runtime_error(
            "\"ForceDefaultHost\" is set for this account: the library would send "
            "every request on to the default host");
    }
    ProviderLibrary library(LibraryPath());
    ConsoleLog log;
    ServiceListener listener(ToOptions(settings), library, log);
    const StopOnConsoleEvent stopOnConsoleEvent(listener);
    log.Write("listening on " + settings.address + ":" + std::to_string(listener.Port()));
    listener.Serve();
    log.Write("stopped");
    return kStopped;
}

}  // namespace

int main(int argc, char** argv) {
    Settings settings;
    CLI::App app("Runs the calendar library of this folder for clients on other machines.",
                 "tarnwick-service");
    app.set_version_flag("--version", TARNWICK_VERSION);
    app.add_option("--address", settings.address, "Address to listen on")->capture_default_str();
    app.add_option("--port", settings.port, "Port to listen on; 0: a free one")
        ->capture_default_str();
    app.add_option("--credentials-file", settings.credentialsFile,
                   std::string("File whose first line is what clients must send (default: the "
                               "environment variable ") +
                       kCredentialsVariable + ")");
    app.add_option("--idle-seconds", settings.idleSeconds, "Longest silence of a client")
        ->check(CLI::Range(1U, 86400U))
        ->capture_default_str();
    app.add_option("--connections", settings.connections, "Most connections at a time")
        ->check(CLI::Range(1U, 1024U))
        ->capture_default_str();
    try {
        app.parse(argc, argv);
        return Run(settings);
    } catch (const CLI::ParseError& error) {
        return ExplainUsage(app, error);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "tarnwick-service: %s\n", failure.what());
        return kFailed;
    }
}
