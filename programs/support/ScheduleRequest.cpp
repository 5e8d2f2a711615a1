#include <programs/support/ScheduleRequest.h>

#include <ostra/pipes/PipeClient.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/system/pipes.h>
#include <programs/support/ScheduleStore.h>
#include <programs/support/Settings.h>

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

namespace programs {

namespace {

using Verb = ScheduleRequest::Verb;

constexpr std::array<std::pair<Verb, std::wstring_view>, 3> verbs{
    {{Verb::Add, L"add"}, {Verb::Remove, L"remove"}, {Verb::Purge, L"purge"}}};

bool IsServed() {
    const std::wstring path = std::wstring(L"\\\\.\\pipe\\") + schedulerPipe;
    return WaitNamedPipeW(path.c_str(), NMPWAIT_NOWAIT) || GetLastError() != platform::error::FileNotFound;
}

}  // namespace

std::wstring ToText(const ScheduleRequest& request) {
    const auto verb = std::find_if(verbs.begin(), verbs.end(), [&](const auto& v) { return v.first == request.verb; });
    return std::wstring(verb->second) + L"\n" + request.cluster + L"\n" + request.line;
}

bool FromText(const std::wstring& text, ScheduleRequest& request) {
    const std::size_t first = text.find(L'\n');
    if (first == std::wstring::npos) return false;
    const std::size_t second = text.find(L'\n', first + 1);
    if (second == std::wstring::npos || text.find(L'\n', second + 1) != std::wstring::npos) return false;
    const std::wstring_view word = std::wstring_view(text).substr(0, first);
    const auto verb = std::find_if(verbs.begin(), verbs.end(), [&](const auto& v) { return v.second == word; });
    if (verb == verbs.end()) return false;
    request = {verb->first, text.substr(first + 1, second - first - 1), text.substr(second + 1)};
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

ScheduleAnswer Perform(const ScheduleRequest& request, TimeValue overdue) {
    std::shared_ptr<platform::ClusterService> service;
    if (const DWORD code = platform::ClusterDirectory::Resolve(request.cluster, service)) return {code, 0};
    ScheduleStore store(service);
    switch (request.verb) {
        case Verb::Add: return {store.Add(request.line), 0};
        case Verb::Remove: return {store.Remove(request.line), 1};
        case Verb::Purge: break;
    }
    std::size_t removed = 0;
    const DWORD code = store.Purge(overdue, removed);
    return {code, static_cast<DWORD>(removed)};
}

Asked AskScheduler(const ScheduleRequest& request, ScheduleAnswer& answer) {
    if (!IsServed()) return Asked::Nobody;  // a client would wait for one
    PipeClient client(schedulerPipe, L"");
    const bool isAnswered = client.Open(1) && client.Send(ToText(request)) && FromText(client.Receive(), answer);
    if (isAnswered) return Asked::Answered;
    return IsServed() ? Asked::Unanswered : Asked::Nobody;
}

}  // namespace programs
