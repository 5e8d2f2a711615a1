#include <ostra/pipes/PipeClient.h>
#include <ostra/pipes/PipeServer.h>

#include <platform/base/clock.h>
#include <platform/base/text.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedMessageBoxes.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/FakeClock.h>
#include <tests/support/TemporaryHome.h>

#include <gtest/gtest.h>

#include <functional>
#include <numeric>
#include <thread>

namespace {

constexpr wchar_t path[] = L"\\\\.\\pipe\\talk";
constexpr UINT style = 0x20000;

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

    void ExpectBox(const std::wstring& text) {
        EXPECT_EQ((std::vector<tests::CapturedMessageBoxes::Box>{{text, L"Norvane Ostra", style}}), _boxes.boxes);
        _boxes.boxes.clear();
    }

    tests::TemporaryHome _home;
    tests::FakeClock _clock;
    tests::CapturedOutput _output;
    tests::CapturedMessageBoxes _boxes;
    tests::CapturedEvents _events;
};

TEST_F(ATextChannel, CarriesTextsBothWays) {
    const std::wstring longest = L"\U0001F600" + std::wstring(2496, L'ä');
    for (const std::wstring& text :
         {std::wstring(L"Online"), std::wstring(), std::wstring(L"Größe \U0001F600"), longest}) {
        PipeServer server(L"talk");
        PipeClient client(L"talk", L"ELSEWHERE");
        EXPECT_EQ(1, OpenFor(server, [&] {
                      EXPECT_NE(0, client.Open(0));
                      EXPECT_NE(0, client.Send(text));
                  }));
        EXPECT_EQ(text, server.PipeMessage());
        EXPECT_NE(0, server.Send(text));
        EXPECT_NE(0, server.Send(L"and more"));
        EXPECT_EQ(0, server.Close());
        EXPECT_EQ(text, client.Receive());
        EXPECT_EQ(L"and more", client.Receive(nullptr));
        EXPECT_EQ(L"", client.Receive()) << "the server is gone";
        EXPECT_EQ(0, client.Close());
        EXPECT_EQ(L"ELSEWHERE", client.TargetHost());
        EXPECT_STREQ(path, client.Name());
        EXPECT_STREQ(path, server.Name());
    }
    EXPECT_TRUE(_boxes.boxes.empty());
    EXPECT_TRUE(_events.Take().empty());
}

TEST_F(ATextChannel, ServesWhoeverComesAsSoonAsTheServerWaits) {
    for (int call = 0; call < 100; ++call) {
        PipeServer server(L"talk");
        ASSERT_EQ(1, OpenFor(server, [] {
                      PipeClient client(L"talk", L"");
                      client.Open(0);
                      client.Send(L"Online");
                  }));
    }
}

// What the other end may be: a program that speaks to the pipe itself.
class AForeignEnd : public ATextChannel {
protected:
    AForeignEnd() { _record.hEvent = CreateEventW(nullptr, 1, 0, nullptr); }
    ~AForeignEnd() override { CloseHandle(_record.hEvent); }

    HPIPE Call() {
        WaitNamedPipeW(path, NMPWAIT_WAIT_FOREVER);
        return CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED,
                           nullptr);
    }

    void Write(HPIPE pipe, const std::vector<BYTE>& bytes) {
        EXPECT_TRUE(WriteFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &_record));
    }

    OVERLAPPED _record;
};

TEST_F(AForeignEnd, ReadsTheBytesOfATextAndItsNull) {
    PipeServer server(L"talk");
    const HPIPE client = Call();
    EXPECT_FALSE(ConnectNamedPipe(server.Handle(), &_record));
    EXPECT_NE(0, server.Send(L"A\U0001F600"));
    BYTE bytes[100];
    DWORD count = 0;
    EXPECT_TRUE(ReadFile(client, bytes, sizeof bytes, &count, &_record));
    EXPECT_EQ((std::vector<BYTE>{'A', 0, 0x3D, 0xD8, 0x00, 0xDE, 0, 0}), std::vector<BYTE>(bytes, bytes + count));
    CloseHandle(client);
}

TEST_F(AForeignEnd, IsReadUpToANullOrTheLimit) {
    const std::vector<BYTE> unending(20'000, 'x');
    const std::wstring limited = platform::FromUtf16(std::vector<BYTE>(5000, 'x'));
    const std::pair<std::vector<BYTE>, std::wstring> cases[] = {{{'H', 0, 'a', 0, 'l', 0, 'f', 0}, L"Half"},
                                                                {{'a', 0, 0, 0, 'b', 0}, L"a"},
                                                                {{0x00, 0xD8}, L"\uFFFD"},
                                                                {unending, limited}};
    for (const auto& [bytes, text] : cases) {
        PipeServer server(L"talk");
        HPIPE caller = nullptr;
        EXPECT_EQ(1, OpenFor(server, [&, &sent = bytes] { Write(caller = Call(), sent); }));
        EXPECT_EQ(text, server.PipeMessage());
        CloseHandle(caller);
    }
    PipeServer server(L"talk");
    PipeClient client(L"talk", L"");
    ASSERT_NE(0, client.Open(1));
    ConnectNamedPipe(server.Handle(), &_record);
    Write(server.Handle(), unending);
    Write(server.Handle(), {'b', 0, 0, 0});
    // The odd 5001st byte meets the zeros behind it.
    EXPECT_EQ(limited + L"x", client.Receive());
    EXPECT_EQ(L"b", client.Receive());
}

TEST_F(ATextChannel, TellsWhyAServerDidNotReceive) {
    PipeServer server(L"talk");
    EXPECT_EQ(0, OpenFor(server, [] { EXPECT_NE(0, PipeClient(L"talk", L"").Open(0)); }));
    ExpectBox(L"PipeServer::Open( ). Failure calling ReadFile( ).The pipe has been ended.\r\n");
    server.Close();
    EXPECT_EQ(0, server.Open());
    ExpectBox(std::wstring(L"PipeServer::Open( ). Failure calling ConnectNamedPipe( ).") + path +
              L"The handle is invalid.\r\n");

    PipeServer early(L"talk");
    PipeClient client(L"talk", L"");
    EXPECT_NE(0, client.Open(1));
    EXPECT_EQ(0, early.Open());
    ExpectBox(std::wstring(L"PipeServer::Open( ). Failure calling ConnectNamedPipe( ).") + path +
              L"There is a process on other end of the pipe.\r\n");

    PipeServer nowhere(L"../talk");
    EXPECT_EQ(INVALID_HANDLE_VALUE, nowhere.Handle());
    EXPECT_EQ(0, nowhere.Close());
    EXPECT_TRUE(_boxes.boxes.empty());
}

TEST_F(ATextChannel, GivesUpATimedCallInSilence) {
    PipeClient client(L"talk", L"");
    EXPECT_EQ(0, client.Open(1));
    EXPECT_EQ(2000U, std::accumulate(_clock.naps.begin(), _clock.naps.end(), 0U));
    EXPECT_TRUE(_boxes.boxes.empty());
    EXPECT_EQ(L"", client.Receive());

    PipeClient nowhere(L"a/b", L"");
    const std::wstring time = platform::FormatTime(platform::CurrentTime(), L"%H:%M:%S");
    EXPECT_EQ(0, nowhere.Open(0));
    ExpectBox(
        L"PipeClient::Open( ). Failure calling WaitNamedPipe( )."
        L"The filename, directory name, or volume label syntax is incorrect.\r\n\\\\.\\pipe\\a/b" +
        time);
}

TEST_F(ATextChannel, ReportsATextThatWasNotSent) {
    PipeServer server(L"talk");
    const std::wstring failure = std::wstring(path) + L"Pipe::Send( ). Failure calling WriteFile. ";
    EXPECT_EQ(0, server.Send(L"Online"));
    EXPECT_EQ(0, server.Send(std::wstring(2499, L'x')));
    EXPECT_EQ(0, server.Send(std::wstring(L"a\0b", 3)));
    EXPECT_EQ((std::vector<std::wstring>{failure + L"OnlineNo process is on the other end of the pipe.\r\n",
                                         failure + L"A text of 2499 characters is too long: a message holds 2498.",
                                         failure + L"The text has a null character inside."}),
              _events.TakeTexts());
}

TEST_F(ATextChannel, IsSharedByCopiesAndClosedOnce) {
    PipeServer server(L"talk");
    PipeClient client(L"talk", L"HOST");
    ASSERT_NE(0, client.Open(1));
    EXPECT_EQ(0, server.Open());
    PipeClient other(L"other", L"");
    {
        PipeServer shared(server);
        PipeClient sharing(client);
        other = client;
        other = &client;
        EXPECT_EQ(L"HOST", sharing.TargetHost());
        EXPECT_EQ(client.Handle(), sharing.Handle());
    }
    EXPECT_STREQ(L"\\\\.\\pipe\\other", other.Name());
    EXPECT_EQ(nullptr, other.Handle());
    EXPECT_NE(0, server.Send(L"still here"));
    EXPECT_EQ(L"still here", client.Receive());
    const PipeServer shared(server);
    server.Close();
    EXPECT_EQ(nullptr, shared.Handle());
    EXPECT_EQ(L"", client.Receive());

    _output.Take();
    server.Info();
    EXPECT_TRUE(_output.Take().starts_with(
        L"Pipe::Info( void ). On entry.\n_iD     :0\n_name   :\\\\.\\pipe\\talk\n_state  :0\n_handle :"));
}

}  // namespace
