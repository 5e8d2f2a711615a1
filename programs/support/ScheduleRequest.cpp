#include <programs/support/ScheduleRequest.h>

#include <ostra/pipes/PipeClient.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/system/pipes.h>
#include <programs/support/ScheduleStore.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace programs {

namespace {

using Verb = ScheduleRequest::Verb;

constexpr std::array<std::pair<Verb, std::wstring_view>, 3> verbs{
    {{Verb::Add, L"add"}, {Verb::Remove, L"remove"}, {Verb::Purge, L"purge"}}};

bool ReadNumber(std::wstring_view text, DWORD& number) {
    const bool isNumber =
        !text.empty() && text.size() <= 9 && text.find_first_not_of(L"0123456789") == std::wstring_view::npos;
    if (isNumber) number = platform::ParseDecimal(text);
    return isNumber;
}

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
    const std::wstring_view whole(text);
    const std::size_t blank = whole.find(L' ');
    ScheduleAnswer read;
    const bool isAnswer = blank != std::wstring_view::npos && ReadNumber(whole.substr(0, blank), read.code) &&
                          ReadNumber(whole.substr(blank + 1), read.count);
    if (isAnswer) answer = read;
    return isAnswer;
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

bool AskScheduler(const ScheduleRequest& request, ScheduleAnswer& answer) {
    if (!IsServed()) return false;  // a client would wait for one
    PipeClient client(schedulerPipe, L"");
    return client.Open(1) && client.Send(ToText(request)) && FromText(client.Receive(), answer);
}

}  // namespace programs
