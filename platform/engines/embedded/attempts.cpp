#include <platform/engines/embedded/attempts.h>

#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/engines/embedded/object_properties.h>

namespace platform::embedded {

namespace {

struct ValueNames {
    const wchar_t* count;
    const wchar_t* since;  // seconds since 1970
};

ValueNames ValueNamesOf(ObjectId object) {
    if (object.kind == ObjectKind::Group) return {L"Failovers", L"FailoversSince"};
    return {L"Restarts", L"RestartsSince"};
}

}  // namespace

DWORD CountAttempt(ClusterStore& store, ObjectId object, DWORD threshold, std::int64_t period, DWORD& number) {
    const ValueNames names = ValueNamesOf(object);
    number = 0;
    DWORD count = 0;
    DWORD since = 0;
    if (const DWORD code = ReadNumber(store, object, names.count, count)) return code;
    if (const DWORD code = ReadNumber(store, object, names.since, since)) return code;
    const std::int64_t now = CurrentTime();
    const std::int64_t elapsed = (now - since) * 1000;
    if (elapsed < 0 || elapsed >= period) {  // over, or the clock was set back
        count = 0;
        since = static_cast<DWORD>(now);
    }
    if (count >= threshold) return error::Success;
    number = count + 1;
    if (const DWORD code = WriteNumber(store, object, names.since, since)) return code;
    return WriteNumber(store, object, names.count, number);
}

DWORD ForgetAttempts(ClusterStore& store, ObjectId object) {
    DWORD count = 0;
    const wchar_t* const name = ValueNamesOf(object).count;
    const DWORD code = ReadNumber(store, object, name, count);
    return code == error::Success && count != 0 ? WriteNumber(store, object, name, 0) : code;
}

}  // namespace platform::embedded
