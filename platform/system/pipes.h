#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

#include <cstdint>

// Named pipes between two programs of one user on one computer. A pipe's path is "\\.\pipe\NAME"; NAME is a safe file
// name, case-sensitive, short enough for a socket under the state directory. Both ends check that the other one runs
// under the same user.
//
// Every function answers FALSE, or the value it names, with the reason as the thread's last error. Operations are
// overlapped: they start, and the record's event and GetOverlappedResult tell when they are done. No thread runs behind
// them: an operation moves on while somebody waits for its event or asks for its result. Functions may be called from
// any thread; one event serves one operation at a time.

/// The state of one operation. It and the buffer that the operation was given must live until the result was taken or
/// the event began another operation.
struct OVERLAPPED {
    HEVENT hEvent = nullptr;  // needed; operations on pipes use nothing else of the published record
};

/// What CreateNamedPipeW and CreateFileW answer for a pipe that cannot be had.
inline const HPIPE INVALID_HANDLE_VALUE = reinterpret_cast<HPIPE>(~std::uintptr_t{0});

inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD FILE_FLAG_OVERLAPPED = 0x40000000;

inline constexpr DWORD PIPE_ACCESS_DUPLEX = 3;
inline constexpr DWORD PIPE_TYPE_BYTE = 0;
inline constexpr DWORD PIPE_READMODE_BYTE = 0;
inline constexpr DWORD PIPE_WAIT = 0;
inline constexpr DWORD PIPE_UNLIMITED_INSTANCES = 255;

inline constexpr DWORD NMPWAIT_USE_DEFAULT_WAIT = 0;
inline constexpr DWORD NMPWAIT_NOWAIT = 1;
inline constexpr DWORD NMPWAIT_WAIT_FOREVER = INFINITE;

/// An event; unnamed and with the default security, so that `security` and `name` must be null. Null when refused. The
/// caller closes it.
PLATFORM_API HEVENT CreateEventW(const void* security, BOOL isManualReset, BOOL isSignalled, const wchar_t* name);
PLATFORM_API BOOL ResetEvent(HEVENT event);
/// Waits until the event is signalled: WAIT_OBJECT_0. WAIT_TIMEOUT when that many milliseconds (INFINITE: no limit)
/// went by; the operation goes on then. WAIT_FAILED: no such event. A wait for another program's doing is real; a wait
/// that nothing can end but this process passes on the process's clock.
PLATFORM_API DWORD WaitForSingleObject(HEVENT event, DWORD milliseconds);
PLATFORM_API BOOL CloseHandle(HEVENT event);

/// A new instance of a pipe, to which one client can connect from now on; INVALID_HANDLE_VALUE when refused. Served are
/// duplex, overlapped, blocking byte pipes with the default security. `maxInstances` counts those of all programs;
/// PipeBusy when there are as many. The buffer sizes and the time-out are hints, and not needed here. The caller closes
/// the handle, which removes the instance; it goes with the process, too.
PLATFORM_API HPIPE CreateNamedPipeW(const wchar_t* path, DWORD openMode, DWORD pipeMode, DWORD maxInstances,
                                    DWORD outBufferSize, DWORD inBufferSize, DWORD defaultTimeout,
                                    const void* security);
/// Waits for a client. Always FALSE: IoPending when the event will tell that one came; PipeConnected when one was there
/// before the call. A client of another user is sent away without notice.
PLATFORM_API BOOL ConnectNamedPipe(HPIPE pipe, OVERLAPPED* record);
/// Takes leave of the client, who can still read what was written. The instance is free again after the next
/// ConnectNamedPipe.
PLATFORM_API BOOL DisconnectNamedPipe(HPIPE pipe);

/// Waits until an instance of the pipe is free, also for a pipe that nobody serves yet: at most that many milliseconds,
/// NMPWAIT_WAIT_FOREVER without limit, NMPWAIT_USE_DEFAULT_WAIT one second, NMPWAIT_NOWAIT not at all. Afterwards:
/// FileNotFound when nobody serves it, SemaphoreTimeout when all instances are busy. Another client may still be the
/// first to take the instance.
PLATFORM_API BOOL WaitNamedPipeW(const wchar_t* path, DWORD milliseconds);
/// The client's end of an existing pipe; INVALID_HANDLE_VALUE when refused: FileNotFound when nobody serves it,
/// PipeBusy when no instance is free, AccessDenied when the server belongs to another user. `security` and
/// `templateFile` must be null, `disposition` OPEN_EXISTING. The caller closes the handle.
PLATFORM_API HPIPE CreateFileW(const wchar_t* path, DWORD access, DWORD share, const void* security, DWORD disposition,
                               DWORD flags, const void* templateFile);

/// Reads one message: what the other end wrote at once, whole, however the system carried it. What does not fit the
/// buffer is dropped, so that the rest of one message never passes for another. TRUE when it was there already, with
/// its length; IoPending when not; BrokenPipe when the other end is gone and everything was read; PipeNotConnected when
/// no client is connected. A null `transferred` is allowed.
PLATFORM_API BOOL ReadFile(HPIPE pipe, void* buffer, DWORD size, DWORD* transferred, OVERLAPPED* record);
/// Writes one message. TRUE when the system took it; IoPending when the other end must read first; BrokenPipe when it
/// is gone; PipeNotConnected when no client is connected; InvalidParameter when the message is larger than the system
/// carries (some 200 kilobytes).
PLATFORM_API BOOL WriteFile(HPIPE pipe, const void* data, DWORD size, DWORD* transferred, OVERLAPPED* record);
/// The result of the operation that the record's event was last given with this record, and the bytes it moved (0 when
/// it failed). Waits for it if `isWaiting`, without limit but for the end of the other program; else IoIncomplete while
/// it is under way.
PLATFORM_API BOOL GetOverlappedResult(HPIPE pipe, OVERLAPPED* record, DWORD* transferred, BOOL isWaiting);
/// Nothing to wait for: what was written stays readable when this end is closed.
PLATFORM_API BOOL FlushFileBuffers(HPIPE pipe);
/// Ends the conversation. An operation that waits on the handle in another thread ends with BrokenPipe.
PLATFORM_API BOOL CloseHandle(HPIPE pipe);
