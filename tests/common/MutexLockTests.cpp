#include "common/MutexLock.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/support/ReportRecorder.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

// What an xMutexLock throws, with its line; empty when it locks.
std::string Failure(HANDLE mutex, DWORD timeout) {
    try {
        const xMutexLock lock(mutex, timeout);
        return "";
    } catch (const LibraryException& failure) {
        EXPECT_STREQ(failure.Source(), "xMutexLock");
        return std::string(failure.what()) + " @" + std::to_string(failure.Line());
    }
}

std::string Hex(HANDLE handle) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%llx", reinterpret_cast<unsigned long long>(handle));
    return text;
}

TEST(MutexLock, TellsOrThrowsThatAnotherThreadHasTheMutex) {
    const ObjectHandle mutex(CreateMutexA(nullptr, FALSE, nullptr));
    const xMutexLock held(mutex.Get(), INFINITE);
    std::thread([&] {
        EXPECT_EQ(Failure(mutex.Get(), 0),
                  "Failed to lock mutex " + Hex(mutex.Get()) + ": request timed out @71");
        EXPECT_FALSE(MutexLock(mutex.Get(), 0).IsLocked());
    }).join();
}

void Abandon(HANDLE mutex) {
    std::thread([=] { WaitForSingleObject(mutex, INFINITE); }).join();
}

TEST(MutexLock, AnAbandonedMutexThrowsOnceAndIsFreeAfterwards) {
    const ObjectHandle mutex(CreateMutexA(nullptr, FALSE, nullptr));
    Abandon(mutex.Get());
    EXPECT_EQ(Failure(mutex.Get(), 0),
              "Mutex " + Hex(mutex.Get()) + " was abandoned by another thread @78");
    std::thread([&] { EXPECT_EQ(Failure(mutex.Get(), 0), ""); }).join();
    Abandon(mutex.Get());
    EXPECT_TRUE(MutexLock(mutex.Get(), 0).IsLocked());
    std::thread([&] { EXPECT_TRUE(MutexLock(mutex.Get(), 0).IsLocked()); }).join();
}

TEST(MutexLock, AFailedWaitNamesTheError) {
    const HANDLE noHandle = reinterpret_cast<HANDLE>(std::uintptr_t{0x7770});
    EXPECT_EQ(Failure(noHandle, 0), "Failed to lock mutex 0x7770 with error 6 @86");
    EXPECT_FALSE(MutexLock(noHandle, 0).IsLocked());
}

TEST(MutexLock, WithoutAMutexCountsAsLocked) {
    EXPECT_EQ(Failure(nullptr, 0), "");
    EXPECT_TRUE(MutexLock(nullptr, 0).IsLocked());
}

TEST(FolderMutex, ARefusedOneIsOpenedAndWithoutItTheTraceSaysSo) {
    const testing::ReportRecorder reports;
    const auto openWithRefusal = [] {
        testing::CallRecorder calls;
        calls.FailAll("CreateMutex", ERROR_ACCESS_DENIED);
        return OpenFolderMutex("C:\\Refused");
    };
    EXPECT_FALSE(openWithRefusal().IsValid());
    EXPECT_EQ(reports.Joined(ReportChannel::Trace),
              "No mutex for folder C:\\Refused, error 5: going on without");
    const ObjectHandle created = OpenFolderMutex("C:\\Refused");
    const xMutexLock held(created.Get(), 0);
    const ObjectHandle opened = openWithRefusal();
    std::thread([&] { EXPECT_FALSE(MutexLock(opened.Get(), 0).IsLocked()); }).join();
    EXPECT_TRUE(opened.IsValid());
}

TEST(FolderMutexName, IsOneForEverySpellingOfAFolder) {
    const std::string name = FolderMutexName("Z:\\Mail\\PO\\Inbox");
    for (const char* spelling :
         {"z:/mail/po/inbox", "Z:\\Mail\\\\PO\\Inbox\\", "Z:\\Mail\\x\\..\\PO/Inbox//"}) {
        EXPECT_EQ(FolderMutexName(spelling), name) << spelling;
    }
    EXPECT_EQ(FolderMutexName("Z:\\B\xC4R"), FolderMutexName("z:\\b\xE4r"));
    EXPECT_NE(FolderMutexName("Z:\\Mail\\PO\\Inbox2"), name);
}

}  // namespace
}  // namespace tarnwick
