#include <platform/system/registry.h>

#include <platform/base/HandleTable.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/system/RegistryFile.h>
#include <platform/system/StateFiles.h>

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <utility>

namespace {

using namespace platform;

/// What an open handle stands for: a root of a host's registry, found anew by every operation, or a key of an open one.
struct OpenKey {
    HostPlace place;
    const wchar_t* root = nullptr;  // null for a key
    std::shared_ptr<RegistryFile> file;
    KeyId key = KeyStore::top;
    DWORD access = 0;
};

/// The key that one operation starts from.
struct Start {
    const std::shared_ptr<RegistryFile>& file;
    KeyId key;
    const wchar_t* root;  // below `key`; it may not exist yet

    KeyStore& Store() const { return file->store; }

    std::wstring Path(const wchar_t* below) const {
        std::wstring path = root ? root : L"";
        if (root && below && *below) path += L'\\';
        return below ? path += below : path;
    }

    DWORD Find(KeyId& found) const {
        found = key;
        return root ? Store().FindKey(key, root, found) : error::Success;
    }
    DWORD Make(KeyId& made) const {
        bool created = false;
        made = key;
        return root ? Store().CreateKey(key, root, false, made, created) : error::Success;
    }
};

using Key = std::shared_ptr<const OpenKey>;

HandleTable<HKEY, const OpenKey>& Handles() {
    static auto& handles = *new HandleTable<HKEY, const OpenKey>;
    return handles;
}

StateFiles<RegistryFile>& Registries() {
    return StateFilesNamed<RegistryFile>("registry.db");
}

/// The copy that stands in place of the local registry.
struct Rehearsal {
    std::mutex mutex;
    std::shared_ptr<RegistryFile> copy;
    std::atomic<bool> isOn = false;
};

Rehearsal& TheRehearsal() {
    static auto& rehearsal = *new Rehearsal;
    return rehearsal;
}

std::shared_ptr<RegistryFile> RehearsedCopy() {
    Rehearsal& rehearsal = TheRehearsal();
    if (!rehearsal.isOn) return nullptr;
    const std::scoped_lock lock(rehearsal.mutex);
    return rehearsal.copy;
}

/// How often this process may have made or changed the local registry.
std::atomic<std::uint64_t> localChanges = 0;

/// When and where the local registry was looked for: what was found holds as long as nothing of this has changed.
struct Moment {
    std::int64_t tick = 0;           // of the coarse clock, which moves on every few milliseconds
    std::uintptr_t environment = 0;  // says where the registry is
    std::uint64_t changes = 0;
    bool operator==(const Moment&) const = default;

    /// Costs no system call.
    static Moment Now() {
        timespec now{};
        ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
        Moment moment{std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec, 0, localChanges};
        // A variable that is set anew is another text at another place.
        for (char** variable = environ; variable && *variable; ++variable)
            moment.environment += reinterpret_cast<std::uintptr_t>(*variable);
        return moment;
    }
};

struct LastLook {
    std::mutex mutex;
    Moment moment;
    std::weak_ptr<RegistryFile> file;
    bool isMissing = false;
};

/// Runs an operation on the local registry.
template <typename Operation>
DWORD OnLocal(OpenMode mode, const Operation& operation) {
    if (const auto copy = RehearsedCopy()) return operation(copy);
    if (mode == OpenMode::MustExist) return Registries().With({}, mode, operation);
    ++localChanges;  // for what the operation itself looks at
    const DWORD code = Registries().With({}, mode, operation);
    ++localChanges;
    return code;
}

Key RootKey(HKEY key) {
    static const auto make = [](const wchar_t* name) {
        return std::make_shared<const OpenKey>(OpenKey{{}, name, nullptr, KeyStore::top, KEY_ALL_ACCESS});
    };
    static const auto& roots =
        *new std::array<std::pair<HKEY, Key>, 5>{{{HKEY_LOCAL_MACHINE, make(L"HKEY_LOCAL_MACHINE")},
                                                  {HKEY_CURRENT_USER, make(L"HKEY_CURRENT_USER")},
                                                  {HKEY_CLASSES_ROOT, make(L"HKEY_CLASSES_ROOT")},
                                                  {HKEY_USERS, make(L"HKEY_USERS")},
                                                  {HKEY_CURRENT_CONFIG, make(L"HKEY_CURRENT_CONFIG")}}};
    for (const auto& [predefined, root] : roots) {
        if (predefined == key) return root;
    }
    return nullptr;
}

Key Lookup(HKEY handle) {
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    return value >= 0x80000000UL && value <= 0x80000005UL ? RootKey(handle) : Handles().Find(handle);
}

HKEY OpenHandle(OpenKey key) {
    return Handles().Open(std::make_shared<const OpenKey>(std::move(key)));
}

/// Runs an operation on the registry that a handle belongs to, when the handle has the right.
template <typename Operation>
DWORD On(HKEY handle, DWORD right, OpenMode mode, const Operation& operation) {
    const Key open = Lookup(handle);
    if (!open) return error::InvalidHandle;
    if ((open->access & right) != right) return error::AccessDenied;
    const auto run = [&](const std::shared_ptr<RegistryFile>& file) {
        return operation(*open, Start{file, open->key, open->root});
    };
    if (open->file) return run(open->file);
    return open->place.isLocal ? OnLocal(mode, run) : Registries().With(open->place, mode, run);
}

/// Puts bytes where the caller wants them, by the rule that all reading functions share.
DWORD Deliver(const std::vector<BYTE>& bytes, BYTE* data, DWORD* size) {
    const auto length = static_cast<DWORD>(bytes.size());
    if (!size) return error::Success;
    const DWORD room = std::exchange(*size, length);
    if (!data) return error::Success;
    if (length > room) return error::MoreData;
    std::copy(bytes.begin(), bytes.end(), data);
    return error::Success;
}

DWORD DeliverName(const std::wstring& text, wchar_t* name, DWORD* size) {
    const auto length = static_cast<DWORD>(text.size());
    const DWORD room = std::exchange(*size, length);
    if (room > 0) name[text.copy(name, std::min(room - 1, length))] = L'\0';
    return length < room ? error::Success : error::MoreData;
}

/// What a function of the registry answers, and leaves as the last error when it is a failure.
LONG Result(DWORD code) {
    if (code != error::Success && code != error::MoreData && code != error::NoMoreItems) SetLastError(code);
    return static_cast<LONG>(code);
}

DWORD DuplicateKey(HKEY key, DWORD access, HKEY* result) {
    const Key open = Lookup(key);
    if (!open) return error::InvalidHandle;
    OpenKey copy = *open;
    copy.access = access;
    if (copy.file) {
        KeyId found = 0;
        if (const DWORD code = copy.file->store.FindKey(copy.key, L"", found)) return code;
    }
    *result = OpenHandle(std::move(copy));
    return error::Success;
}

}  // namespace

LONG RegConnectRegistryW(const wchar_t* host, HKEY root, HKEY* result) {
    if (!result) return Result(error::InvalidParameter);
    *result = nullptr;
    HostPlace place;
    if (const DWORD code = FindHost(host, place)) return Result(code);
    const Key open = Lookup(root);
    if (!open) return Result(error::InvalidHandle);
    const bool isThere = place.isLocal == open->place.isLocal && place.directory == open->place.directory;
    if (place.isLocal || (isThere && !open->root)) return Result(DuplicateKey(root, open->access, result));
    if (!open->root) return Result(error::InvalidHandle);
    *result = OpenHandle({place, open->root, nullptr, KeyStore::top, KEY_ALL_ACCESS});
    return Result(error::Success);
}

LONG RegOpenKeyExW(HKEY key, const wchar_t* path, DWORD, DWORD access, HKEY* result) {
    if (!result) return Result(error::InvalidParameter);
    *result = nullptr;
    if (!path || !*path) return Result(DuplicateKey(key, access, result));
    return Result(On(key, 0, OpenMode::MustExist, [&](const OpenKey& open, const Start& start) {
        KeyId found = 0;
        const DWORD code = start.Store().FindKey(start.key, start.Path(path), found);
        if (code == error::Success) *result = OpenHandle({open.place, nullptr, start.file, found, access});
        return code;
    }));
}

LONG RegCreateKeyExW(HKEY key, const wchar_t* path, DWORD, const wchar_t*, DWORD options, DWORD access, const void*,
                     HKEY* result, DWORD* disposition) {
    if (disposition) *disposition = 0;
    if (!result) return Result(error::InvalidParameter);
    *result = nullptr;
    if (!path || options > REG_OPTION_VOLATILE) return Result(error::InvalidParameter);
    return Result(On(key, 0, OpenMode::CreateIfMissing, [&](const OpenKey& open, const Start& start) {
        const std::wstring whole = start.Path(path);
        KeyId found = 0;
        bool created = false;
        DWORD code = start.Store().FindKey(start.key, whole, found);
        if (code == error::FileNotFound) {
            if (!(open.access & KEY_CREATE_SUB_KEY)) return error::AccessDenied;
            code = start.Store().CreateKey(start.key, whole, options == REG_OPTION_VOLATILE, found, created);
        }
        if (code != error::Success) return code;
        *result = OpenHandle({open.place, nullptr, start.file, found, access});
        if (disposition) *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
        return code;
    }));
}

LONG RegQueryValueExW(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
    if (reserved || (data && !size)) return Result(error::InvalidParameter);
    return Result(On(key, KEY_QUERY_VALUE, OpenMode::MustExist, [&](const OpenKey&, const Start& start) {
        KeyId found = 0;
        if (const DWORD code = start.Find(found)) return code;
        DWORD valueType = 0;
        std::vector<BYTE> bytes;
        if (const DWORD code = start.Store().QueryValue(found, name ? name : L"", valueType, bytes)) return code;
        if (type) *type = valueType;
        return Deliver(bytes, data, size);
    }));
}

LONG RegSetValueExW(HKEY key, const wchar_t* name, DWORD, DWORD type, const BYTE* data, DWORD size) {
    if (!data && size) return Result(error::InvalidParameter);
    return Result(On(key, KEY_SET_VALUE, OpenMode::CreateIfMissing, [&](const OpenKey&, const Start& start) {
        KeyId found = 0;
        if (const DWORD code = start.Make(found)) return code;
        return start.Store().SetValue(found, name ? name : L"", type, {data, size});
    }));
}

LONG RegEnumKeyExW(HKEY key, DWORD index, wchar_t* name, DWORD* nameSize, DWORD* reserved, wchar_t* className,
                   DWORD* classSize, void*) {
    if (reserved || !name || !nameSize || (className && !classSize)) return Result(error::InvalidParameter);
    bool isRead = false;
    DWORD code = On(key, KEY_ENUMERATE_SUB_KEYS, OpenMode::MustExist, [&](const OpenKey&, const Start& start) {
        KeyId found = 0;
        std::wstring text;
        if (const DWORD failure = start.Find(found)) return failure;
        if (const DWORD failure = start.Store().EnumKey(found, index, text)) return failure;
        isRead = true;
        return DeliverName(text, name, nameSize);
    });
    if (isRead && className) DeliverName({}, className, classSize);
    // A root that nothing was ever written to.
    return Result(code == error::FileNotFound ? error::NoMoreItems : code);
}

LONG RegEnumValueW(HKEY key, DWORD index, wchar_t* name, DWORD* nameSize, DWORD* reserved, DWORD* type, BYTE* data,
                   DWORD* dataSize) {
    if (reserved || !name || !nameSize || (data && !dataSize)) return Result(error::InvalidParameter);
    const DWORD code = On(key, KEY_QUERY_VALUE, OpenMode::MustExist, [&](const OpenKey&, const Start& start) {
        KeyId found = 0;
        std::wstring text;
        DWORD valueType = 0;
        std::vector<BYTE> bytes;
        if (const DWORD failure = start.Find(found)) return failure;
        if (const DWORD failure = start.Store().EnumValue(found, index, text, valueType, bytes)) return failure;
        if (type) *type = valueType;
        const DWORD ofName = DeliverName(text, name, nameSize);
        const DWORD ofData = Deliver(bytes, data, dataSize);
        return ofName ? ofName : ofData;
    });
    return Result(code == error::FileNotFound ? error::NoMoreItems : code);
}

LONG RegDeleteKeyW(HKEY key, const wchar_t* path) {
    if (!path || !*path) return Result(error::InvalidParameter);
    const DWORD code = On(key, KEY_CREATE_SUB_KEY, OpenMode::MustExist, [&](const OpenKey&, const Start& start) {
        return start.Store().DeleteKey(start.key, start.Path(path));
    });
    return Result(code == error::KeyHasChildren ? error::AccessDenied : code);
}

LONG RegDeleteValueW(HKEY key, const wchar_t* name) {
    return Result(On(key, KEY_SET_VALUE, OpenMode::MustExist, [&](const OpenKey&, const Start& start) {
        KeyId found = 0;
        const DWORD code = start.Find(found);
        return code ? code : start.Store().DeleteValue(found, name ? name : L"");
    }));
}

LONG RegCloseKey(HKEY key) {
    if (RootKey(key)) return Result(error::Success);
    return Result(Handles().Close(key) ? error::Success : error::InvalidHandle);
}

namespace platform {

DWORD ReadRegistryVersion(RegistryVersion& version) {
    const auto read = [&](const std::shared_ptr<RegistryFile>& file) {
        std::uint64_t changes = 0;
        const DWORD code = file->database->GlanceAtChangeCounter(changes);
        if (code == error::Success) version = {file->number, changes};
        return code;
    };
    if (const auto copy = RehearsedCopy()) return read(copy);
    static auto& last = *new LastLook;
    const Moment now = Moment::Now();
    const std::unique_lock lock(last.mutex, std::try_to_lock);  // in a forked child nobody may ever give it back
    if (lock && now == last.moment) {
        if (last.isMissing) return error::FileNotFound;
        const auto file = last.file.lock();
        if (file && read(file) == error::Success) return error::Success;
    }
    std::weak_ptr<RegistryFile> found;
    const DWORD code = Registries().With({}, OpenMode::MustExist, [&](const std::shared_ptr<RegistryFile>& file) {
        found = file;
        return read(file);
    });
    if (!lock) return code;
    last.moment = code == error::Success || code == error::FileNotFound ? now : Moment();
    last.file = found;
    last.isMissing = code == error::FileNotFound;
    return code;
}

DWORD TransactRegistry(const std::function<DWORD()>& steps) {
    DWORD result = error::Success;
    const DWORD code = OnLocal(OpenMode::CreateIfMissing, [&](const std::shared_ptr<RegistryFile>& file) {
        WriteTransaction transaction(*file->database);
        if (const DWORD refusal = transaction.Begin()) return refusal;
        result = steps();
        if (result == error::Success) result = transaction.Commit();
        return DWORD{error::Success};  // the steps have run: they must not be repeated on another file
    });
    return code ? code : result;
}

void ViewRegistry(const std::function<void()>& steps) {
    const DWORD code = OnLocal(OpenMode::MustExist, [&](const std::shared_ptr<RegistryFile>& file) {
        ReadTransaction transaction(*file->database);
        if (const DWORD refusal = transaction.Begin()) return refusal;
        steps();
        return DWORD{error::Success};
    });
    if (code) steps();
}

DWORD BeginRegistryRehearsal() {
    Rehearsal& rehearsal = TheRehearsal();
    const std::scoped_lock lock(rehearsal.mutex);
    if (rehearsal.copy) return error::Success;
    DWORD code = Registries().With({}, OpenMode::MustExist, [&](const std::shared_ptr<RegistryFile>& original) {
        return RegistryFile::Copy(original.get(), rehearsal.copy);
    });
    if (code == error::FileNotFound) code = RegistryFile::Copy(nullptr, rehearsal.copy);
    rehearsal.isOn = rehearsal.copy != nullptr;
    return code;
}

void EndRegistryRehearsal() {
    Rehearsal& rehearsal = TheRehearsal();
    const std::scoped_lock lock(rehearsal.mutex);
    rehearsal.isOn = false;
    rehearsal.copy = nullptr;
}

bool IsRegistryRehearsed() {
    return RehearsedCopy() != nullptr;
}

}  // namespace platform
