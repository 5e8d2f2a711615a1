#pragma once

#include <ostra/export.h>
#include <ostra/foundation/NTEventViewer.h>
#include <ostra/foundation/OstraError.h>
#include <platform/base/SharedHandle.h>
#include <platform/base/types.h>
#include <platform/system/pipes.h>

#include <optional>
#include <string>

/// What both ends of a text channel between two programs on this computer have in common: the pipe, and the sending of
/// texts. A text travels as UTF-16LE with its terminating null, in one write; each read takes one text, up to its first
/// null. An operation that failed leaves the reason as the thread's last error.
///
/// Every call waits until it is done. One thread at a time may use an object, and those that share its pipe.
class OSTRA_API Pipe {
public:
    /// The most UTF-16 units of a text (a character above U+FFFF has two): the receiver reads once, 5000 bytes.
    static constexpr std::size_t LongestText = 2498;

    /// No pipe yet.
    Pipe();
    /// Shares the other's event and pipe, which close with the last of those who share them; the error record is new.
    Pipe(const Pipe& other);
    /// Closes what no copy shares.
    virtual ~Pipe();
    /// Takes over identifier, path, state and pipe, which the two then share.
    Pipe& operator=(const Pipe& other);
    /// Changes nothing.
    Pipe& operator=(const Pipe* other);

    LONG ID() const { return _iD; }
    LONG State() const { return _state; }
    /// The pipe's path.
    const wchar_t* Name() const { return _name; }
    /// Null while there is none; INVALID_HANDLE_VALUE in a server whose pipe could not be created. Stays the object's.
    HPIPE Handle() const { return _handle.Get(); }
    /// The text that a server received last.
    std::wstring PipeMessage() const { return _pipeMessage; }

    int Open() { return 0; }
    int Close() { return 0; }
    /// Non-zero: the text was sent; of one with a null inside the other end sees what is in front of that. 0: it was
    /// not, and the event log has the reason; a text longer than LongestText is refused whole. Blocks, without limit,
    /// only while the other end has some hundred kilobytes unread.
    int Send(const std::wstring& text);

    /// Writes the fields to standard output.
    virtual void Info();

protected:
    /// The path of a pipe, cut to the buffer; a name that long is refused when the pipe is created or opened.
    void SetPath(const std::wstring& path);
    bool IsOpen() const;
    void Take(HPIPE pipe) { _handle.Reset(pipe); }
    /// Says farewell to the other end and closes the pipe, for all copies.
    void CloseHandles();
    /// One message of at most `size` bytes, as text up to its null; nothing when it could not be read.
    std::optional<std::wstring> Read(DWORD size);
    void ShowFailure(const std::wstring& text) const;
    std::wstring LastErrorText() const;

    static BOOL CloseEvent(HEVENT event);
    static BOOL ClosePipe(HPIPE pipe);

    platform::SharedHandle<HEVENT, CloseEvent> _event;  // manual-reset; every overlapped call uses it
    platform::SharedHandle<HPIPE, ClosePipe> _handle;
    wchar_t _name[256] = {};
    std::wstring _pipeMessage;
    OstraError _error;
    NTEventViewer _eventViewer;
    LONG _iD = 0;
    LONG _state = 0;
};
