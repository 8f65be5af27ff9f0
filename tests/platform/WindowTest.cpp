// Windows by class and title, and the messages posted to them.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/Kernel.h"
#include "platform/Window.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/TestWindow.h"

namespace wkt::test {

namespace {

using Windows = DeskDeviceTest;

TEST_F(Windows, TopmostOfAClassIsFound) {
  TestWindow below(u"Class", u"First"), above(u"CLASS", u"Second"), other(u"Other", u"First");
  EXPECT_EQ(FindWindowW(u"class", nullptr), above.Handle());
  EXPECT_EQ(FindWindowW(u"class", u"first"), below.Handle());
  EXPECT_EQ(FindWindowW(nullptr, u"First"), other.Handle());
  EXPECT_EQ(FindWindowW(nullptr, nullptr), other.Handle());
  EXPECT_EQ(FindWindowW(u"class", u"Fir"), nullptr);
  EXPECT_EQ(FindWindowW(u"clas", nullptr), nullptr);
  EXPECT_EQ(FindWindowW(u"class ", nullptr), nullptr);
}

TEST_F(Windows, WhatIsPostedArrivesWhole) {
  TestWindow window(u"Class", u"");
  SetLastError(0xDEADBEEF);
  const HWND found = FindWindowW(u"Class", nullptr);
  ASSERT_EQ(found, window.Handle());
  EXPECT_EQ(PostMessageW(found, 0xFFFFFFFF, 0xFFFFFFFF, -1), TRUE);
  EXPECT_EQ(PostMessageW(found, 0, 0, 0x7FFFFFFF), TRUE);
  EXPECT_EQ(GetLastError(), 0xDEADBEEFu) << "left alone by what succeeds";
  const auto messages = window.TakeAll();
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0].message, 0xFFFFFFFFu);
  EXPECT_EQ(messages[0].wParam, 0xFFFFFFFFu);
  EXPECT_EQ(messages[0].lParam, -1);
  EXPECT_EQ(messages[1].message, 0u);
  EXPECT_EQ(messages[1].lParam, 0x7FFFFFFF);
  EXPECT_TRUE(window.TakeAll().empty());
}

TEST_F(Windows, PostingDoesNotWaitForTheReceiver) {
  TestWindow window(u"Class", u"");
  EXPECT_TRUE(PostMessageW(window.Handle(), WM_USER, 0, 0));
  // Nobody has taken the first one.
  EXPECT_TRUE(PostMessageW(window.Handle(), WM_USER + 1, 0, 0));
  EXPECT_EQ(window.TakeAll().size(), 2u);
}

TEST_F(Windows, OnesThatAreGoneAreNotFoundAndTakeNothing) {
  HWND gone = nullptr;
  {
    TestWindow window(u"Class", u"");
    gone = window.Handle();
    ASSERT_NE(gone, nullptr);
  }
  SetLastError(0);
  EXPECT_EQ(FindWindowW(u"Class", nullptr), nullptr);
  EXPECT_EQ(PostMessageW(gone, WM_USER, 0, 0), FALSE);
  EXPECT_EQ(GetLastError(), 1400u);
}

TEST_F(Windows, MessagesKeepTheirOrder) {
  TestWindow window(u"Class", u"");
  for (UINT i = 0; i < 5; ++i)
    EXPECT_TRUE(PostMessageW(window.Handle(), WM_USER + i, i, 0));
  const auto messages = window.TakeAll();
  ASSERT_EQ(messages.size(), 5u);
  for (UINT i = 0; i < 5; ++i)
    EXPECT_EQ(messages[i].message, WM_USER + i);
}

TEST_F(Windows, FullQueueRefusesAndKeepsWhatItHas) {
  TestWindow window(u"Class", u"");
  UINT posted = 0;
  while (PostMessageW(window.Handle(), WM_USER + posted, 0, 0))
    ++posted;
  EXPECT_EQ(GetLastError(), 1816u);
  EXPECT_EQ(posted, 128u);
  const auto messages = window.TakeAll();
  ASSERT_EQ(messages.size(), 128u);
  EXPECT_EQ(messages[127].message, WM_USER + 127);
  EXPECT_TRUE(PostMessageW(window.Handle(), WM_USER, 0, 0));
}

TEST_F(Windows, BadHandlesAreTold) {
  for (HWND bad : {reinterpret_cast<HWND>(uintptr_t{1}), reinterpret_cast<HWND>(uintptr_t{0xFFFF}),
                   reinterpret_cast<HWND>(~uintptr_t{0})}) {
    SetLastError(0);
    EXPECT_FALSE(PostMessageW(bad, WM_USER, 0, 0));
    EXPECT_EQ(GetLastError(), 1400u);
  }
}

TEST_F(Windows, NoWindowPostsToTheThread) {
  EXPECT_TRUE(PostMessageW(nullptr, WM_USER + 5, 1, 2));
  std::thread([] { EXPECT_TRUE(TakeThreadMessages().empty()); }).join();
  const auto messages = TakeThreadMessages();
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].message, WM_USER + 5);
}

TEST_F(Windows, TooLongNamesAndTooManyWindowsAreRefused) {
  EXPECT_EQ(TestWindow(std::u16string(64, u'c'), u"").Problem(), ERROR_INVALID_PARAMETER);
  std::vector<std::unique_ptr<TestWindow>> windows;
  do {
    windows.push_back(std::make_unique<TestWindow>(u"c", u""));
  } while (windows.back()->IsOpen());
  EXPECT_EQ(windows.size(), 33u);
  EXPECT_EQ(windows.back()->Problem(), ERROR_NOT_ENOUGH_MEMORY);
}

}  // namespace

}  // namespace wkt::test
