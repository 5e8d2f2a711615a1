// one_row FILE: opens a database and reads one row, the least that any program on it does.
#include <sqlite3.h>

#include <iostream>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: one_row FILE\n";
        return 2;
    }
    sqlite3* database = nullptr;
    sqlite3_stmt* row = nullptr;
    int result = sqlite3_open_v2(argv[1], &database, SQLITE_OPEN_READWRITE, nullptr);
    if (result == SQLITE_OK)
        result = sqlite3_prepare_v2(database, "SELECT name FROM sqlite_schema LIMIT 1", -1, &row, nullptr);
    if (result == SQLITE_OK && sqlite3_step(row) == SQLITE_ROW) std::cout << sqlite3_column_text(row, 0) << '\n';
    sqlite3_finalize(row);
    sqlite3_close(database);
    return result == SQLITE_OK ? 0 : 1;
}
