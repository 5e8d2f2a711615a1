#include <platform/system/RegistryFile.h>

#include <platform/base/error_codes.h>
#include <platform/base/text.h>

#include <fstream>

namespace platform {

namespace {

const DatabaseSchema& Schema() {
    static const DatabaseSchema& schema = *new DatabaseSchema{0x4F535247, 1, KeyStore::schema};
    return schema;
}

// Empty on a system that does not tell: volatile keys then last.
std::wstring CurrentBoot() {
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string text;
    std::getline(file, text);
    return FromUtf8(text);
}

}  // namespace

DWORD RegistryFile::Open(const std::string& path, OpenMode mode, std::shared_ptr<RegistryFile>& file) {
    file = nullptr;
    std::unique_ptr<Database> database;
    if (const DWORD code = Database::Open(path, Schema(), mode, database)) return code;
    const auto opened = std::make_shared<RegistryFile>(std::move(database));
    if (const DWORD code = opened->ForgetEarlierBoot()) return code;
    file = opened;
    return error::Success;
}

DWORD RegistryFile::Copy(RegistryFile* original, std::shared_ptr<RegistryFile>& copy) {
    copy = nullptr;
    std::unique_ptr<Database> database;
    if (const DWORD code = Database::OpenMemory(Schema(), database)) return code;
    if (const DWORD code = original ? original->database->CopyTo(*database) : error::Success) return code;
    copy = std::make_shared<RegistryFile>(std::move(database));
    return error::Success;
}

DWORD RegistryFile::ForgetEarlierBoot() {
    static constexpr const wchar_t* note = L"boot";
    const std::wstring current = CurrentBoot();
    std::wstring remembered;
    if (const DWORD code = store.ReadNote(note, remembered)) return code;
    if (current.empty() || remembered == current) return error::Success;
    WriteTransaction transaction(*database);
    if (const DWORD code = transaction.Begin()) return code;
    // Another process may have done it while this one waited, and have made volatile keys since.
    if (const DWORD code = store.ReadNote(note, remembered)) return code;
    if (remembered == current) return error::Success;
    if (const DWORD code = store.RemoveVolatileKeys()) return code;
    if (const DWORD code = store.WriteNote(note, current)) return code;
    return transaction.Commit();
}

}  // namespace platform
