#pragma once

#include <gtest/gtest.h>
#include <platform/base/error_codes.h>
#include <platform/cluster/ForwardingClusterService.h>
#include <platform/store/Database.h>
#include <platform/store/KeyStore.h>

#include <map>
#include <memory>
#include <string>
#include <utility>

namespace tests {

/// A cluster that is nothing but its database, in memory, and the names of objects that have a key in it.
class DatabaseCluster : public platform::ForwardingClusterService {
public:
    DatabaseCluster() : ForwardingClusterService(nullptr) {
        const platform::DatabaseSchema schema{0x6B657973, 1, platform::KeyStore::schema};
        EXPECT_EQ(0U, platform::Database::OpenMemory(schema, _database));
        store = std::make_unique<platform::KeyStore>(*_database);
        root = Make(platform::KeyStore::top, L"Cluster");
    }

    /// The key at the path below the root, made when it is missing.
    platform::KeyId Make(const std::wstring& path) { return Make(root, path); }

    /// Gives the object of that name, of whatever kind is asked, the key at the path.
    void AddObject(const std::wstring& name, const std::wstring& path) { _objects[name] = Make(path); }

    /// 0 when there is none.
    platform::KeyId At(const std::wstring& path) {
        platform::KeyId key = 0;
        store->FindKey(root, path, key);
        return key;
    }

    DWORD Information(std::wstring& clusterName) override {
        clusterName = L"Database";
        return 0;
    }
    DWORD Find(platform::ObjectKind kind, const std::wstring& name, platform::ObjectId& found) override {
        const auto object = _objects.find(name);
        if (object == _objects.end()) return platform::error::FileNotFound;
        found = {kind, object->second};
        return 0;
    }
    DWORD NameOf(platform::ObjectId object, std::wstring& name) override { return store->KeyName(object.number, name); }
    DWORD RootKey(platform::ClusterKeyId& key) override {
        key = root;
        return 0;
    }
    DWORD ObjectKey(platform::ObjectId object, platform::ClusterKeyId& key) override {
        key = object.number;
        return 0;
    }
    DWORD OpenKey(platform::ClusterKeyId parent, const std::wstring& path, platform::ClusterKeyId& key) override {
        return store->FindKey(parent, path, key);
    }
    DWORD CreateKey(platform::ClusterKeyId parent, const std::wstring& path, bool isVolatile,
                    platform::ClusterKeyId& key, bool& created) override {
        return store->CreateKey(parent, path, isVolatile, key, created);
    }
    DWORD DeleteKey(platform::ClusterKeyId parent, const std::wstring& path) override {
        return store->DeleteKey(parent, path);
    }
    DWORD SubkeyAt(platform::ClusterKeyId key, DWORD index, std::wstring& name) override {
        return store->EnumKey(key, index, name);
    }
    DWORD SetValue(platform::ClusterKeyId key, const std::wstring& name, DWORD type,
                   std::span<const BYTE> data) override {
        return store->SetValue(key, name, type, data);
    }
    DWORD QueryValue(platform::ClusterKeyId key, const std::wstring& name, DWORD& type,
                     std::vector<BYTE>& data) override {
        return store->QueryValue(key, name, type, data);
    }
    DWORD ValueAt(platform::ClusterKeyId key, DWORD index, std::wstring& name, DWORD& type,
                  std::vector<BYTE>& data) override {
        return store->EnumValue(key, index, name, type, data);
    }

private:
    platform::KeyId Make(platform::KeyId parent, const std::wstring& path) {
        platform::KeyId key = 0;
        bool created = false;
        EXPECT_EQ(0U, store->CreateKey(parent, path, false, key, created));
        return key;
    }

    std::unique_ptr<platform::Database> _database;
    std::map<std::wstring, platform::KeyId> _objects;

public:
    std::unique_ptr<platform::KeyStore> store;
    platform::KeyId root = 0;
};

}  // namespace tests
