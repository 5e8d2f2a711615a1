#include <programs/support/ScheduleRequest.h>

#include <ostra/pipes/PipeClient.h>
#include <platform/base/SharedHandle.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/system/pipes.h>
#include <programs/support/Settings.h>

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace programs {

namespace {

using Verb = ScheduleRequest::Verb;

constexpr std::array<std::pair<Verb, std::wstring_view>, 3> verbs{
    {{Verb::Add, L"add"}, {Verb::Remove, L"remove"}, {Verb::Purge, L"purge"}}};

BOOL CloseEvent(HEVENT event) {
    return CloseHandle(event);
}

constexpr DWORD patience = 15'000;    // milliseconds: longer than the scheduler itself waits for a busy database
constexpr DWORD longestAnswer = 100;  // bytes

bool IsServed() {
    const std::wstring path = std::wstring(L"\\\\.\\pipe\\") + schedulerPipe;
    return WaitNamedPipeW(path.c_str(), NMPWAIT_NOWAIT) || GetLastError() != platform::error::FileNotFound;
}

/// What the scheduler answers. False when nothing came and it is still there.
bool AwaitAnswer(HPIPE pipe, std::wstring& text) {
    std::array<BYTE, longestAnswer> buffer{};
    const platform::SharedHandle<HEVENT, CloseEvent> event(CreateEventW(nullptr, 1, 0, nullptr));
    OVERLAPPED record;
    record.hEvent = event.Get();
    DWORD count = 0;
    ReadFile(pipe, buffer.data(), longestAnswer, &count, &record);
    if (WaitForSingleObject(event.Get(), patience) == WAIT_TIMEOUT) return false;
    GetOverlappedResult(pipe, &record, &count, 0);
    text = platform::FromUtf16(std::span(buffer).first(count));
    return true;
}

}  // namespace

std::wstring ToText(const ScheduleRequest& request) {
    const auto verb = std::find_if(verbs.begin(), verbs.end(), [&](const auto& v) { return v.first == request.verb; });
    const std::wstring instant = request.job.isFixed ? std::to_wstring(request.job.time) : L"";
    return std::wstring(verb->second) + L"\n" + request.cluster + L"\n" + instant + L"\n" + request.job.line;
}

bool FromText(const std::wstring& text, ScheduleRequest& request) {
    std::array<std::wstring, 4> lines;  // the last one has what is left
    std::size_t start = 0;
    for (std::size_t line = 0; line < lines.size(); ++line) {
        const bool isLast = line + 1 == lines.size();
        const std::size_t end = text.find(L'\n', start);
        if ((end == std::wstring::npos) != isLast) return false;
        lines[line] = text.substr(start, isLast ? end : end - start);
        start = end + 1;
    }
    const auto verb = std::find_if(verbs.begin(), verbs.end(), [&](const auto& v) { return v.second == lines[0]; });
    const std::optional<TimeValue> instant = ReadInstant(lines[2]);
    if (verb == verbs.end() || (!instant && !lines[2].empty())) return false;
    request = {verb->first, lines[1], ReadJob(lines[3], instant)};
    return true;
}

std::wstring ToText(const ScheduleAnswer& answer) {
    return std::to_wstring(answer.code) + L" " + std::to_wstring(answer.count);
}

bool FromText(const std::wstring& text, ScheduleAnswer& answer) {
    constexpr DWORD largest = std::numeric_limits<DWORD>::max();
    const std::string numbers = platform::ToUtf8(text);
    const std::size_t blank = numbers.find(' ');
    if (blank == std::string::npos) return false;
    const std::optional<DWORD> code = ParseNumber(numbers.substr(0, blank), largest);
    const std::optional<DWORD> count = ParseNumber(numbers.substr(blank + 1), largest);
    if (!code || !count) return false;
    answer = {*code, *count};
    return true;
}

ScheduleAnswer Perform(const ScheduleRequest& request, TimeValue since) {
    std::shared_ptr<platform::ClusterService> service;
    if (const DWORD code = platform::ClusterDirectory::Resolve(request.cluster, service)) return {code, 0};
    ScheduleStore store(service);
    switch (request.verb) {
        case Verb::Add: return {store.Add(request.job), 0};
        case Verb::Remove: return {store.Remove(request.job), 1};
        case Verb::Purge: break;
    }
    std::size_t removed = 0;
    const DWORD code = store.Purge(since, removed);
    return {code, static_cast<DWORD>(removed)};
}

Asked AskScheduler(const ScheduleRequest& request, ScheduleAnswer& answer) {
    if (!IsServed()) return Asked::Nobody;  // a client would wait for one
    PipeClient client(schedulerPipe, L"");
    if (client.Open(1) && client.Send(ToText(request))) {
        std::wstring text;
        if (!AwaitAnswer(client.Handle(), text)) return Asked::Silent;
        if (FromText(text, answer)) return Asked::Answered;
    }
    return IsServed() ? Asked::Unanswered : Asked::Nobody;
}

}  // namespace programs
