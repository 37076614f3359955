#include "platform/window_registry.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

struct Message {
    UINT code;
    WPARAM first;
    LPARAM second;
    friend bool operator==(const Message&, const Message&) = default;
};

TEST(WindowMessages, ReachTheirWindowInOrderFromAnyThread) {
    std::vector<Message> received;
    std::vector<Message> of_another;
    const HWND window = platform::RegisterWindow([&](UINT code, WPARAM a, LPARAM b) {
        received.push_back({code, a, b});
    });
    const HWND another = platform::RegisterWindow([&](UINT code, WPARAM a, LPARAM b) {
        of_another.push_back({code, a, b});
    });
    std::thread([&] {
        EXPECT_TRUE(PostMessageW(window, 6551, ~WPARAM{0}, -1));
        EXPECT_TRUE(PostMessageW(window, 6552, 8, 0));
    }).join();
    EXPECT_EQ(received, (std::vector<Message>{{6551, ~WPARAM{0}, -1}, {6552, 8, 0}}));
    EXPECT_TRUE(of_another.empty());
    platform::UnregisterWindow(window);
    platform::UnregisterWindow(another);
}

TEST(WindowMessages, AreRefusedWhereThereIsNoWindow) {
    const HWND gone = platform::RegisterWindow([](UINT, WPARAM, LPARAM) { FAIL(); });
    platform::UnregisterWindow(gone);
    for (const HWND window : {HWND{nullptr}, gone, reinterpret_cast<HWND>(std::uintptr_t{12345})}) {
        SetLastError(0);
        EXPECT_FALSE(PostMessageW(window, 1, 2, 3));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
    }
    const HWND next = platform::RegisterWindow([](UINT, WPARAM, LPARAM) {});
    EXPECT_NE(next, gone);
    platform::UnregisterWindow(next);
}

}  // namespace
