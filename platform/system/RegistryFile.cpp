#include <platform/system/RegistryFile.h>

#include <platform/base/error_codes.h>

namespace platform {

namespace {

const DatabaseSchema& Schema() {
    static const DatabaseSchema& schema = *new DatabaseSchema{0x4F535247, 2, KeyStore::schema, 1, KeyStore::conversion};
    return schema;
}

}  // namespace

DWORD RegistryFile::Open(const std::string& path, OpenMode mode, std::shared_ptr<RegistryFile>& file) {
    file = nullptr;
    std::unique_ptr<Database> database;
    if (const DWORD code = Database::Open(path, Schema(), mode, database)) return code;
    const auto opened = std::make_shared<RegistryFile>(std::move(database));
    if (const DWORD code = opened->store.ForgetEarlierBoots()) return code;
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

}  // namespace platform
