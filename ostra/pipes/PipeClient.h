#pragma once

#include <ostra/pipes/Pipe.h>

/// The end of a text channel that calls: it connects to a server's pipe on this computer and sends and receives texts.
class OSTRA_API PipeClient : public Pipe {
public:
    /// Nothing is connected yet. The target host is kept and otherwise without meaning.
    PipeClient(const std::wstring& name, const std::wstring& targetHost, int = 0);
    PipeClient(const PipeClient&) = default;
    ~PipeClient() override = default;
    /// Both change nothing.
    PipeClient& operator=(const PipeClient& other);
    PipeClient& operator=(const PipeClient* other);

    const std::wstring& TargetHost() const { return _targetHost; }

    /// Waits until the server is there and free, for at most two seconds when `isTimed` is non-zero, else without
    /// limit, and then connects, which is tried once. Non-zero: connected. 0: not connected, and unless timed a message
    /// box told the reason: nobody was free in time; or, at once, another client was faster (PipeBusy: try again), or
    /// the server is another user's.
    int Open(int isTimed);
    /// Waits, without limit but for the server's end, for the server's next text. Empty also when none came because the
    /// server is gone (BrokenPipe). Valid until the next call.
    const std::wstring& Receive(wchar_t* = nullptr);
    /// 0.
    int Close();

private:
    /// Shows the failure of an untimed open, with the time. 0.
    int Fail(const wchar_t* text, int isTimed) const;

    std::wstring _targetHost;
    std::wstring _received;
};
