#include <ostra/pipes/PipeClient.h>
#include <ostra/pipes/PipeServer.h>

#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedMessageBoxes.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/FakeClock.h>
#include <tests/support/TemporaryHome.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <thread>

namespace {

const std::wstring path = L"\\\\.\\pipe\\talk";

class ATextChannel : public testing::Test {
protected:
    /// What a server does that is called by `client` while it waits.
    static int OpenFor(PipeServer& server, const std::function<void()>& client) {
        DisconnectNamedPipe(server.Handle());  // keeps the client waiting until the server does
        std::thread caller(client);
        const int result = server.Open();
        caller.join();
        return result;
    }

    tests::TemporaryHome _home;
    tests::FakeClock _clock;
    tests::CapturedOutput _output;
    tests::CapturedMessageBoxes _boxes;
    tests::CapturedEvents _events;
};

TEST_F(ATextChannel, CarriesTextsBothWaysForAllItsCopiesUntilOneClosesIt) {
    for (int round = 0; round < 100; ++round) {
        const std::wstring text = round == 0 ? L"" : L"Größe \U0001F600" + std::wstring(2490, L'ä');
        PipeServer server(L"talk");
        PipeClient client(L"talk", L"ELSEWHERE");
        EXPECT_EQ(1, OpenFor(server, [&] {
                      EXPECT_NE(0, client.Open(0));
                      EXPECT_NE(0, client.Send(text));
                  }));
        EXPECT_EQ(text, server.PipeMessage());
        std::make_unique<PipeClient>(client).reset();  // closes nothing while another has the pipe
        std::make_unique<PipeServer>(server).reset();
        const PipeServer shared(server);
        EXPECT_NE(0, server.Send(text));
        EXPECT_NE(0, server.Send(L"and more"));
        EXPECT_EQ(0, server.Close());
        EXPECT_EQ(nullptr, shared.Handle());
        EXPECT_EQ(text, client.Receive());
        EXPECT_EQ(L"and more", client.Receive());
        EXPECT_EQ(L"", client.Receive()) << "the server is gone";
        EXPECT_EQ(path, client.Name()) << "whatever the host";
    }
}

TEST_F(ATextChannel, IsUtf16UpToANullOrTheLimitForProgramsThatSpeakToThePipeThemselves) {
    OVERLAPPED record;
    record.hEvent = CreateEventW(nullptr, 1, 0, nullptr);
    const auto write = [&](HPIPE pipe, const std::vector<BYTE>& bytes) {
        EXPECT_TRUE(WriteFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &record));
    };
    const std::vector<BYTE> unending(20'000, 'x');
    const std::wstring limited = platform::FromUtf16(std::vector<BYTE>(5000, 'x'));
    const std::pair<std::vector<BYTE>, std::wstring> cases[] = {
        {{'H', 0, 'a', 0}, L"Ha"}, {{'a', 0, 0, 0, 'b', 0}, L"a"}, {{0x00, 0xD8}, L"\uFFFD"}, {unending, limited}};
    for (const auto& [bytes, text] : cases) {
        PipeServer server(L"talk");
        PipeClient client(L"talk", L"");
        EXPECT_EQ(1, OpenFor(server, [&, &sent = bytes] { write((client.Open(0), client.Handle()), sent); }));
        EXPECT_EQ(text, server.PipeMessage());
        write(server.Handle(), unending);
        EXPECT_EQ(limited + L"x", client.Receive()) << "its odd 5001st byte meets the zeros behind it";
        EXPECT_NE(0, server.Send(std::wstring(L"A\0\U0001F600", 3)));
        BYTE sent[100];
        DWORD count = 0;
        EXPECT_TRUE(ReadFile(client.Handle(), sent, sizeof sent, &count, &record));
        EXPECT_EQ((std::vector<BYTE>{'A', 0, 0, 0, 0x3D, 0xD8, 0x00, 0xDE, 0, 0}),
                  std::vector<BYTE>(sent, sent + count));
    }
    CloseHandle(record.hEvent);
}

TEST_F(ATextChannel, TellsInABoxWhyItWasNotOpened) {
    PipeServer server(L"talk");
    EXPECT_EQ(0, OpenFor(server, [] { EXPECT_NE(0, PipeClient(L"talk", L"").Open(0)); }));
    PipeServer early(L"early");
    PipeClient client(L"early", L"");
    EXPECT_NE(0, client.Open(1));
    EXPECT_EQ(0, early.Open());
    const std::int64_t start = _clock.Now();
    const std::wstring time = platform::FormatTime(platform::CurrentTime(), L"%H:%M:%S");
    EXPECT_EQ(0, PipeClient(L"a/b", L"").Open(0));
    _clock.isAlone = true;
    EXPECT_EQ(0, PipeClient(L"elsewhere", L"").Open(1));
    EXPECT_EQ(start + 2, _clock.Now());
    EXPECT_EQ(INVALID_HANDLE_VALUE, PipeServer(L"../talk").Handle());
    const auto box = [](const std::wstring& text) {
        return tests::CapturedMessageBoxes::Box{text, L"Norvane Ostra", MB_DEFAULT_DESKTOP_ONLY};
    };
    EXPECT_EQ((std::vector{box(L"PipeServer::Open( ). Failure calling ReadFile( ).The pipe has been ended.\r\n"),
                           box(L"PipeServer::Open( ). Failure calling ConnectNamedPipe( ).\\\\.\\pipe\\early"
                               L"There is a process on other end of the pipe.\r\n"),
                           box(L"PipeClient::Open( ). Failure calling WaitNamedPipe( ).The filename, directory name, "
                               L"or volume label syntax is incorrect.\r\n\\\\.\\pipe\\a/b" +
                               time)}),
              _boxes.boxes);
}

TEST_F(ATextChannel, ReportsATextThatWasNotSent) {
    PipeServer server(L"talk");
    const std::wstring failure = path + L"Pipe::Send( ). Failure calling WriteFile. ";
    const DWORD codes[] = {platform::error::PipeNotConnected, platform::error::InvalidParameter};
    const std::wstring texts[] = {L"Online", std::wstring(2499, L'x')};
    for (const int index : {0, 1}) {
        EXPECT_EQ(0, server.Send(texts[index]));
        EXPECT_EQ(codes[index], GetLastError());
    }
    EXPECT_EQ((std::vector<std::wstring>{failure + L"OnlineNo process is on the other end of the pipe.\r\n",
                                         failure + L"A text of 2499 characters is too long: a message holds 2498."}),
              _events.TakeTexts());
}

}  // namespace
