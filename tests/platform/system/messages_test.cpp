#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/system/messages.h>
#include <tests/support/CapturedMessageBoxes.h>

#include <gtest/gtest.h>

using namespace platform;

namespace {

std::wstring TextOf(HMODULE module, DWORD code) {
    std::wstring text = L"old";
    const bool isFound = MessageText(module, code, text);
    EXPECT_EQ(isFound, !text.empty());
    return text;
}

TEST(Messages, ComeFromTheLoadedTableUntilItsLastUserEndsAndFromTheSystem) {
    const HMODULE network = LoadLibraryW(L"NetMsg.DLL");
    const HMODULE other = LoadLibraryW(L"netmsg.dll");
    EXPECT_EQ(L"The Server service is not started.\r\n", TextOf(network, 2114));
    EXPECT_EQ(L"", TextOf(network, 4999));
    EXPECT_EQ(L"", TextOf(nullptr, 2114));
    EXPECT_EQ(L"The RPC server is unavailable.\r\n", TextOf(nullptr, 1722));
    EXPECT_EQ(L"The cluster group could not be found.\r\n", TextOf(nullptr, 5013));
    EXPECT_NE(L"", TextOf(nullptr, error::OutcomeUnknown));
    EXPECT_EQ(L"", TextOf(nullptr, 0xFFFFFFFF));
    EXPECT_TRUE(FreeLibrary(network));
    EXPECT_EQ(L"The user name could not be found.\r\n", TextOf(other, 2221));
    EXPECT_TRUE(FreeLibrary(other));
    EXPECT_EQ(L"", TextOf(other, 2221));
    EXPECT_EQ(L"Access is denied.\r\n", TextOf(other, 5));
    EXPECT_FALSE(FreeLibrary(other));
}

TEST(Messages, HaveNoTableOfAnotherName) {
    for (const wchar_t* name :
         {static_cast<const wchar_t*>(nullptr), L"", L"netmsg", L"othermsg.dll", L"../netmsg.dll"}) {
        SetLastError(0);
        EXPECT_EQ(nullptr, LoadLibraryW(name));
        EXPECT_EQ(126U, GetLastError());
    }
    for (const std::uintptr_t value : {std::uintptr_t{0}, std::uintptr_t{1}, ~std::uintptr_t{0}}) {
        SetLastError(0);
        EXPECT_FALSE(FreeLibrary(reinterpret_cast<HMODULE>(value)));
        EXPECT_EQ(6U, GetLastError());
        EXPECT_EQ(L"Access is denied.\r\n", TextOf(reinterpret_cast<HMODULE>(value), 5));
    }
}

TEST(MessageBoxes, GoToTheHandlerAndAreAnsweredWithoutOne) {
    EXPECT_EQ(IDOK, MessageBoxW(nullptr, L"text", L"title", MB_ICONSTOP));
    tests::CapturedMessageBoxes captured;
    captured.answer = 7;
    EXPECT_EQ(7, MessageBoxW(nullptr, L"text", L"title", MB_ICONSTOP));
    EXPECT_EQ(7, MessageBoxW(nullptr, nullptr, nullptr, MB_ICONINFORMATION | MB_DEFAULT_DESKTOP_ONLY));
    EXPECT_EQ((std::vector<tests::CapturedMessageBoxes::Box>{{L"text", L"title", 16}, {L"", L"", 0x20040}}),
              captured.boxes);
}

}  // namespace
