#pragma once

#include <platform/store/Database.h>
#include <platform/store/KeyStore.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace platform {

/// One registry, opened: in a file, or the copy that a rehearsal works on.
struct RegistryFile {
    explicit RegistryFile(std::unique_ptr<Database> opened) : database(std::move(opened)), store(*database) {}

    /// Takes the volatile keys of an earlier boot out.
    static DWORD Open(const std::string& path, OpenMode mode, std::shared_ptr<RegistryFile>& file);

    /// A copy of `original` in memory, or an empty registry without one.
    static DWORD Copy(RegistryFile* original, std::shared_ptr<RegistryFile>& copy);

    std::unique_ptr<Database> database;
    KeyStore store;
    const std::uint64_t number = ++_opened;  // no other registry opened by this process has it

private:
    static inline std::atomic<std::uint64_t> _opened = 0;
};

}  // namespace platform
