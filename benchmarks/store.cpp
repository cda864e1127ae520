// The resource store beside SQLite, in one run: 10,000 objects of 1 KB stored and committed, looked
// up and read in random order, and a cold open with one read. SQLite keeps one row with one BLOB
// for each in one transaction. The store compresses what SQLite stores as it is.
//
// Neither waits for the medium: the store does so only when it is told to, and SQLite is told not
// to (synchronous=OFF). The rows named Durable compare both where they do wait: the store with
// set_durable, SQLite with synchronous=FULL.
#include "ondrel.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#ifdef ONDREL_HAVE_SQLITE
#include <sqlite3.h>
#endif

namespace {

constexpr int objectCount = 10000;
constexpr std::size_t objectSize = 1024;

/// The state of something in a world: names, small numbers and coordinates.
std::string stateOf(int number) {
    std::mt19937 random(static_cast<unsigned>(number));
    static char const * const words[] = {"position", "speed", "health", "target", "villager",
                                         "carries",  "home",  "sleeps", "walks",  "hungry"};
    std::string state;
    while (state.size() < objectSize) {
        state += words[random() % std::size(words)];
        for (int i = 0; i < 4; ++i)
            state += static_cast<char>(random() >> 24);
    }
    state.resize(objectSize);
    return state;
}

std::vector<std::string> const & states() {
    static std::vector<std::string> const all = [] {
        std::vector<std::string> made;
        for (int i = 0; i < objectCount; ++i)
            made.push_back(stateOf(i));
        return made;
    }();
    return all;
}

std::string nameOf(int number) {
    return "villager" + std::to_string(number);
}

std::vector<int> const & randomOrder() {
    static std::vector<int> const order = [] {
        std::vector<int> all(objectCount);
        std::iota(all.begin(), all.end(), 0);
        std::shuffle(all.begin(), all.end(), std::mt19937(1));
        return all;
    }();
    return order;
}

std::string fileName(char const * name) {
    return (std::filesystem::temp_directory_path() / name).string();
}

class State : public GStreamable {
    G_DECLARE_CREATABLE(State)
  public:
    explicit State(std::string start = "") : bytes(std::move(start)) {}
    void read(ipstream & in) override {
        bytes.resize(objectSize);
        in.readBytes(bytes.data(), static_cast<long>(objectSize));
    }
    void write(opstream & out) override {
        out.writeBytes(bytes.data(), static_cast<long>(bytes.size()));
    }
    std::string bytes;
};

G_DEFINE_CREATABLE(State, "State", GStreamable)

// The store.

std::vector<GResourceFullName> const & storeNames() {
    static std::vector<GResourceFullName> const names = [] {
        std::vector<GResourceFullName> made;
        for (int i = 0; i < objectCount; ++i)
            made.emplace_back(GResourcePath(GString("world")), GString(nameOf(i).c_str()),
                              GString("State"));
        return made;
    }();
    return names;
}

std::string const storeFile = fileName("ondrel_benchmark.res");

void fillStore(bool durable = false) {
    std::filesystem::remove(storeFile);
    ResourceFile file(storeFile.c_str(), GIO::WriteMode);
    file.set_durable(durable);
    State state;
    for (int i = 0; i < objectCount; ++i) {
        state.bytes = states()[static_cast<std::size_t>(i)];
        file.put(&state, storeNames()[static_cast<std::size_t>(i)], false);
    }
    file.flush();
}

void StorePutAndFlush(benchmark::State & run) {
    states();
    storeNames();
    for (auto _ : run)
        fillStore();
    run.counters["bytes"] = static_cast<double>(std::filesystem::file_size(storeFile));
}

void StoreDurablePutAndFlush(benchmark::State & run) {
    for (auto _ : run)
        fillStore(true);
}

/// What a game adds that saves one thing at a time.
void flushOne(benchmark::State & run, bool durable) {
    std::filesystem::remove(storeFile);
    ResourceFile file(storeFile.c_str(), GIO::WriteMode);
    file.set_durable(durable);
    State state(states()[0]);
    for (auto _ : run) {
        file.put(&state, storeNames()[0], false);
        file.flush();
    }
}

void StoreFlushOne(benchmark::State & run) {
    flushOne(run, false);
}

void StoreDurableFlushOne(benchmark::State & run) {
    flushOne(run, true);
}

void StoreFind(benchmark::State & run) {
    fillStore();
    ResourceFile file(storeFile.c_str(), GIO::ReadMode);
    for (auto _ : run)
        for (int const i : randomOrder())
            benchmark::DoNotOptimize(file.exist(storeNames()[static_cast<std::size_t>(i)]));
}

void StoreRead(benchmark::State & run) {
    fillStore();
    ResourceFile file(storeFile.c_str(), GIO::ReadMode);
    for (auto _ : run)
        for (int const i : randomOrder()) {
            std::unique_ptr<GStreamable> const object(
                file.get(storeNames()[static_cast<std::size_t>(i)], false));
            benchmark::DoNotOptimize(object.get());
        }
}

void StoreColdOpen(benchmark::State & run) {
    fillStore();
    for (auto _ : run) {
        ResourceFile file(storeFile.c_str(), GIO::ReadMode);
        std::unique_ptr<GStreamable> const object(file.get(storeNames()[5000], false));
        benchmark::DoNotOptimize(object.get());
    }
}

BENCHMARK(StorePutAndFlush)->Unit(benchmark::kMillisecond);
BENCHMARK(StoreDurablePutAndFlush)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(StoreFlushOne)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(StoreDurableFlushOne)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(StoreFind)->Unit(benchmark::kMillisecond);
BENCHMARK(StoreRead)->Unit(benchmark::kMillisecond);
BENCHMARK(StoreColdOpen)->Unit(benchmark::kMillisecond);

#ifdef ONDREL_HAVE_SQLITE

std::string const tableFile = fileName("ondrel_benchmark.sqlite");

class Table {
  public:
    explicit Table(bool durable = false) {
        sqlite3_open(tableFile.c_str(), &database_);
        run(durable ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=OFF");
    }
    ~Table() {
        for (sqlite3_stmt * const statement : statements_)
            sqlite3_finalize(statement);
        sqlite3_close(database_);
    }
    Table(Table const &) = delete;
    Table & operator=(Table const &) = delete;

    void run(char const * text) { sqlite3_exec(database_, text, nullptr, nullptr, nullptr); }
    sqlite3_stmt * prepare(char const * text) {
        sqlite3_stmt * statement = nullptr;
        sqlite3_prepare_v2(database_, text, -1, &statement, nullptr);
        statements_.push_back(statement);
        return statement;
    }

  private:
    sqlite3 * database_ = nullptr;
    std::vector<sqlite3_stmt *> statements_;
};

std::vector<std::string> const & tableNames() {
    static std::vector<std::string> const names = [] {
        std::vector<std::string> made;
        for (int i = 0; i < objectCount; ++i)
            made.push_back(nameOf(i));
        return made;
    }();
    return names;
}

void bindName(sqlite3_stmt * statement, int number) {
    std::string const & name = tableNames()[static_cast<std::size_t>(number)];
    sqlite3_bind_text(statement, 1, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
}

void fillTable(bool durable = false) {
    std::filesystem::remove(tableFile);
    Table table(durable);
    table.run("CREATE TABLE resources (name TEXT PRIMARY KEY, bytes BLOB)");
    table.run("BEGIN");
    sqlite3_stmt * const insert = table.prepare("INSERT INTO resources VALUES (?, ?)");
    for (int i = 0; i < objectCount; ++i) {
        std::string const & bytes = states()[static_cast<std::size_t>(i)];
        bindName(insert, i);
        sqlite3_bind_blob(insert, 2, bytes.data(), static_cast<int>(bytes.size()), SQLITE_STATIC);
        sqlite3_step(insert);
        sqlite3_reset(insert);
    }
    table.run("COMMIT");
}

std::string readRow(sqlite3_stmt * select, int number) {
    bindName(select, number);
    std::string bytes;
    if (sqlite3_step(select) == SQLITE_ROW)
        bytes.assign(static_cast<char const *>(sqlite3_column_blob(select, 0)),
                     static_cast<std::size_t>(sqlite3_column_bytes(select, 0)));
    sqlite3_reset(select);
    return bytes;
}

constexpr char const * selectBytes = "SELECT bytes FROM resources WHERE name = ?";

void SQLitePutAndCommit(benchmark::State & run) {
    states();
    tableNames();
    for (auto _ : run)
        fillTable();
    run.counters["bytes"] = static_cast<double>(std::filesystem::file_size(tableFile));
}

void SQLiteDurablePutAndCommit(benchmark::State & run) {
    for (auto _ : run)
        fillTable(true);
}

void commitOne(benchmark::State & run, bool durable) {
    std::filesystem::remove(tableFile);
    Table table(durable);
    table.run("CREATE TABLE resources (name TEXT PRIMARY KEY, bytes BLOB)");
    sqlite3_stmt * const insert = table.prepare("INSERT OR REPLACE INTO resources VALUES (?, ?)");
    std::string const & bytes = states()[0];
    bindName(insert, 0);
    sqlite3_bind_blob(insert, 2, bytes.data(), static_cast<int>(bytes.size()), SQLITE_STATIC);
    for (auto _ : run) { // each statement is a transaction
        sqlite3_step(insert);
        sqlite3_reset(insert);
    }
}

void SQLiteCommitOne(benchmark::State & run) {
    commitOne(run, false);
}

void SQLiteDurableCommitOne(benchmark::State & run) {
    commitOne(run, true);
}

void SQLiteFind(benchmark::State & run) {
    fillTable();
    Table table;
    sqlite3_stmt * const select = table.prepare("SELECT 1 FROM resources WHERE name = ?");
    for (auto _ : run)
        for (int const i : randomOrder()) {
            bindName(select, i);
            benchmark::DoNotOptimize(sqlite3_step(select));
            sqlite3_reset(select);
        }
}

void SQLiteRead(benchmark::State & run) {
    fillTable();
    Table table;
    sqlite3_stmt * const select = table.prepare(selectBytes);
    for (auto _ : run)
        for (int const i : randomOrder())
            benchmark::DoNotOptimize(readRow(select, i));
}

void SQLiteColdOpen(benchmark::State & run) {
    fillTable();
    for (auto _ : run) {
        Table table;
        benchmark::DoNotOptimize(readRow(table.prepare(selectBytes), 5000));
    }
}

BENCHMARK(SQLitePutAndCommit)->Unit(benchmark::kMillisecond);
BENCHMARK(SQLiteDurablePutAndCommit)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(SQLiteCommitOne)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(SQLiteDurableCommitOne)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(SQLiteFind)->Unit(benchmark::kMillisecond);
BENCHMARK(SQLiteRead)->Unit(benchmark::kMillisecond);
BENCHMARK(SQLiteColdOpen)->Unit(benchmark::kMillisecond);

#endif

} // namespace

BENCHMARK_MAIN();
