#include <gtest/gtest.h>
#include <platform/base/error_codes.h>
#include <platform/store/Database.h>
#include <platform/store/KeyStore.h>
#include <platform/store/RowChecksum.h>
#include <sqlite3.h>
#include <tests/support/TemporaryHome.h>

#include <filesystem>
#include <fstream>

namespace {

using namespace platform;
using tests::TemporaryHome;

const DatabaseSchema storeSchema{0x6B657973, 1, KeyStore::schema};

class AKeyStore : public testing::Test {
protected:
    AKeyStore() {
        EXPECT_EQ(error::Success, Database::OpenMemory(storeSchema, _database));
        _store = std::make_unique<KeyStore>(*_database);
    }

    KeyId Create(const wchar_t* path, bool isVolatile = false, KeyId parent = KeyStore::top) {
        KeyId key = 0;
        bool created = false;
        EXPECT_EQ(error::Success, _store->CreateKey(parent, path, isVolatile, key, created));
        return key;
    }

    KeyId Find(const wchar_t* path) {
        KeyId key = 0;
        _store->FindKey(KeyStore::top, path, key);
        return key;
    }

    std::vector<std::wstring> Children(KeyId key) {
        std::vector<std::wstring> names;
        std::wstring name;
        for (DWORD index = 0; _store->EnumKey(key, index, name) == error::Success; ++index) names.push_back(name);
        return names;
    }

    std::unique_ptr<Database> _database;
    std::unique_ptr<KeyStore> _store;
};

TEST_F(AKeyStore, EnumeratesKeysAndValuesInFoldedOrder) {
    const KeyId root = Create(L"root");
    for (const wchar_t* name : {L"b", L"C", L"a", L"Z_", L"\x00C9t\x00E9", L"[x"}) {
        Create(name, false, root);
        EXPECT_EQ(error::Success, _store->SetValue(root, name, 1, {}));
    }
    const std::vector<std::wstring> expected{L"[x", L"a", L"b", L"C", L"Z_", L"\x00C9t\x00E9"};
    EXPECT_EQ(expected, Children(root));
    std::wstring name;
    DWORD type = 0;
    std::vector<BYTE> data;
    for (DWORD index = 0; index < 6; ++index) {
        EXPECT_EQ(error::Success, _store->EnumValue(root, index, name, type, data));
        EXPECT_EQ(expected[index], name);
    }
    EXPECT_EQ(error::NoMoreItems, _store->EnumValue(root, 6, name, type, data));
}

TEST_F(AKeyStore, RefusesNamesAndDataThatCannotBe) {
    EXPECT_NE(0, Create(std::wstring(255, L'x').c_str()));
    KeyId key = 1;
    bool created = true;
    for (const std::wstring& path :
         {std::wstring(256, L'x'), std::wstring(L"a\\\\b"), std::wstring(L"\\a"), std::wstring(L"tab\there"),
          std::wstring(1, wchar_t(0xD800)), std::wstring(L"a\0b", 3)}) {
        EXPECT_EQ(error::InvalidParameter, _store->CreateKey(KeyStore::top, path, false, key, created));
        EXPECT_TRUE(key == 0 && !created);
    }
    const KeyId root = Create(L"root");
    EXPECT_EQ(error::Success, _store->SetValue(root, std::wstring(16'383, L'v'), 1, {}));
    EXPECT_EQ(error::InvalidParameter, _store->SetValue(root, std::wstring(16'384, L'v'), 1, {}));
    std::vector<BYTE> data(KeyStore::largestData, 7);
    EXPECT_EQ(error::Success, _store->SetValue(root, L"large", 3, data));
    std::vector<BYTE> read;
    DWORD type = 0;
    EXPECT_EQ(error::Success, _store->QueryValue(root, L"LARGE", type, read));
    EXPECT_EQ(data, read);
    data.push_back(7);
    EXPECT_EQ(error::InvalidParameter, _store->SetValue(root, L"large", 3, data));

    KeyId deep = root;
    for (std::size_t depth = 1; depth < KeyStore::deepestKey; ++depth) deep = Create(L"d", false, deep);
    EXPECT_EQ(error::InvalidParameter, _store->CreateKey(deep, L"d", false, key, created));
}

TEST_F(AKeyStore, ForgetsWhatWasTakenBack) {
    {
        WriteTransaction transaction(*_database);
        EXPECT_EQ(error::Success, transaction.Begin());
        Create(L"gone");
        EXPECT_NE(0, Find(L"gone"));
    }
    EXPECT_EQ(0, Find(L"gone"));
}

TEST(ADamagedKeyStore, IsReportedAndNeverFollowed) {
    const TemporaryHome home;
    const std::string path = (home.Path() / "keys.db").string();
    const struct {
        const char* mutation;
        DWORD code;
    } cases[] = {
        {"UPDATE keys SET parent = 3 WHERE id = 2", error::FileCorrupt},  // a circle, which hangs on nothing
        {"UPDATE keys SET parent = 3 WHERE id = 0", error::Success},      // the top has no parent, whatever it says
        {"UPDATE keys SET name = 'a\\b' WHERE id = 3", error::FileCorrupt},
        {"UPDATE keys SET name = 'other' WHERE id = 3", error::FileCorrupt},
        {"UPDATE keys SET volatile = 7 WHERE id = 3", error::FileCorrupt},
        {"PRAGMA writable_schema = ON; UPDATE sqlite_schema SET sql = replace(sql, 'STRICT', '') WHERE name = 'keys';"
         "PRAGMA writable_schema = RESET; UPDATE keys SET name = x'00' WHERE id = 3",
         error::FileCorrupt},
        {"DROP TABLE keys", error::FileCorrupt},
    };
    for (const auto& row : cases) {
        std::unique_ptr<Database> database;
        KeyId key = 0;
        bool created = false;
        ASSERT_EQ(error::Success, Database::Open(path, storeSchema, OpenMode::CreateIfMissing, database));
        ASSERT_EQ(error::Success, KeyStore(*database).CreateKey(KeyStore::top, L"a\\b\\c", false, key, created));
        database.reset();
        sqlite3* raw = nullptr;
        ASSERT_EQ(SQLITE_OK, sqlite3_open(path.c_str(), &raw));
        RowChecksum::Register(raw);
        const std::string sql = std::string("PRAGMA ignore_check_constraints = ON;") + row.mutation;
        EXPECT_EQ(SQLITE_OK, sqlite3_exec(raw, sql.c_str(), nullptr, nullptr, nullptr)) << sqlite3_errmsg(raw);
        sqlite3_close(raw);
        ASSERT_EQ(error::Success, Database::Open(path, storeSchema, OpenMode::MustExist, database));
        KeyStore store(*database);
        std::wstring name;
        EXPECT_EQ(row.code, store.FindKey(KeyStore::top, L"a\\b\\c", key)) << row.mutation;
        EXPECT_NE(error::Busy, store.EnumKey(3, 0, name));
        EXPECT_NE(error::Busy, store.DeleteTree(KeyStore::top, L"a"));
        std::filesystem::remove(path);
    }
}

// Cells stand from the start of a leaf's content to the end of its page.
TEST(AKeyStoreWithAFlippedByte, AnswersTheTruthOrAnError) {
    const TemporaryHome home;
    const std::string path = (home.Path() / "keys.db").string();
    const auto read = [&](std::vector<std::wstring>& answers) -> DWORD {
        std::unique_ptr<Database> database;
        if (const DWORD code = Database::Open(path, storeSchema, OpenMode::MustExist, database)) return code;
        KeyStore store(*database);
        std::wstring name;
        DWORD type = 0;
        std::vector<BYTE> data;
        KeyId key = 0;
        for (const wchar_t* at : {L"Alpha", L"Alpha\\Beta", L"Alpha\\Gamma"}) {
            if (const DWORD code = store.FindKey(KeyStore::top, at, key)) return code;
            if (const DWORD code = store.KeyName(key, name)) return code;
            answers.push_back(name);
            DWORD code = error::Success;
            for (DWORD index = 0; (code = store.EnumKey(key, index, name)) == error::Success;) {
                answers.push_back(name);
                ++index;
            }
            if (code != error::NoMoreItems) return code;
            for (DWORD index = 0; (code = store.EnumValue(key, index, name, type, data)) == error::Success; ++index) {
                answers.push_back(name + L'=' + std::to_wstring(type));
                answers.emplace_back(data.begin(), data.end());
            }
            if (code != error::NoMoreItems) return code;
        }
        return error::Success;
    };
    {
        std::unique_ptr<Database> database;
        ASSERT_EQ(error::Success, Database::Open(path, storeSchema, OpenMode::CreateIfMissing, database));
        KeyStore store(*database);
        KeyId key = 0;
        bool created = false;
        for (const wchar_t* at : {L"Alpha", L"Alpha\\Beta", L"Alpha\\Gamma"}) {
            ASSERT_EQ(error::Success, store.CreateKey(KeyStore::top, at, false, key, created));
            for (const wchar_t* value : {L"Address", L"Mask"})
                ASSERT_EQ(error::Success, store.SetValue(key, value, 1, std::vector<BYTE>{'1', '0', '.', '7'}));
        }
    }
    std::string whole(std::filesystem::file_size(path), 0);
    std::ifstream(path, std::ios::binary).read(whole.data(), static_cast<std::streamsize>(whole.size()));
    std::vector<std::wstring> truth;
    ASSERT_EQ(error::Success, read(truth));
    constexpr std::size_t pageSize = 4096;
    int flips = 0;
    int errors = 0;
    for (std::size_t page = pageSize; page < whole.size(); page += pageSize) {
        const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(whole[page + at]); };
        if (byte(0) != 0x0D && byte(0) != 0x0A) continue;
        for (std::size_t at = byte(5) * 256U + byte(6); at < pageSize; ++at, ++flips) {
            std::string flipped = whole;
            flipped[page + at] = static_cast<char>(flipped[page + at] ^ (1 << flips % 8));
            std::ofstream(path, std::ios::binary | std::ios::trunc) << flipped;
            std::vector<std::wstring> answers;
            const DWORD code = read(answers);
            errors += code != error::Success;
            EXPECT_TRUE(code != error::Success || answers == truth) << "page " << page / pageSize << ", byte " << at;
        }
    }
    EXPECT_GT(flips, 400);
    EXPECT_GT(errors, flips / 2);
}

}  // namespace
