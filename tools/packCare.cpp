// `pack check` and `pack compact`: the care for a resource file as a whole.
#include "Pack.h"

#include "Address.h"
#include "Command.h"
#include "Files.h"
#include "Json.h"
#include "Store.h"
#include "Terminal.h"

#include "persistence/ResourceFileFormat.h"
#include "platform/FileSystem.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>

namespace tool {

namespace {

struct Findings {
    struct Damage {
        std::string address, problem;
    };
    std::vector<Damage> damages;
    std::size_t resources = 0;
    /// Bytes that nothing leads to.
    std::int64_t dead = 0;
    /// Those of them behind the end, as a writing leaves them that was broken off.
    std::int64_t behind = 0;

    ExitStatus status() const { return !damages.empty() ? Damaged : dead > 0 ? Remarks : Done; }
};

/// What the blocks, the directory and the header do not cover, and blocks that cover one another.
void lookForOverlaps(Store const & store, std::vector<Entry> entries, Findings & findings) {
    std::erase_if(entries, [](Entry const & entry) { return entry.block.size <= 0; });
    std::sort(entries.begin(), entries.end(),
              [](Entry const & a, Entry const & b) { return a.block.offset < b.block.offset; });
    std::int64_t now = resource_file::headerSize, covered = now;
    std::string before;
    auto const take = [&](std::int64_t begin, std::int64_t end, std::string const & address) {
        if (begin < now && !before.empty())
            findings.damages.push_back({address, "overlaps " + before});
        else if (begin < now)
            findings.damages.push_back({address, "overlaps the header"});
        if (end <= now)
            return;
        covered += end - std::max(begin, now);
        now = end;
        before = address;
    };
    // An old directory may have blocks behind it, and ends where nobody says.
    std::int64_t directory = store.directoryBegin();
    auto const takeDirectory = [&](std::int64_t end) {
        take(directory, end, "the directory");
        directory = -1;
    };
    for (Entry const & entry : entries) {
        std::int64_t const begin = entry.block.offset, end = begin + entry.block.size;
        if (begin < 0 || end > store.size())
            continue; // told already
        if (directory >= 0 && begin >= directory)
            takeDirectory(store.isOldFormat() ? begin : store.end());
        take(begin, end, addressOf(entry.name));
    }
    if (directory >= 0)
        takeDirectory(store.end());
    findings.dead = store.size() - covered;
    findings.behind = store.size() - store.end();
}

Findings examine(Store & store) {
    Findings findings;
    if (store.content() == Store::Content::Foreign)
        findings.damages.push_back({"", "is no resource file, or its first bytes are damaged"});
    if (store.content() == Store::Content::NoDirectory)
        findings.damages.push_back({"", "has no directory that can be read"});
    if (store.content() != Store::Content::Whole)
        return findings;
    std::vector<Entry> const entries = store.entries();
    findings.resources = entries.size();
    Progress progress(store.name(), store.size());
    std::int64_t done = 0;
    for (Entry const & entry : entries) {
        std::string const problem = store.verify(entry.block);
        if (!problem.empty())
            findings.damages.push_back({addressOf(entry.name), problem});
        progress.show(done += entry.block.size);
    }
    lookForOverlaps(store, entries, findings);
    return findings;
}

void printJson(Store const & store, Findings const & findings) {
    char const * const words[] = {"clean", "dead space", "damaged"};
    Json json;
    json.beginObject().member("file", store.name()).member("status", words[findings.status()]);
    json.member("oldFormat", store.isOldFormat());
    json.member("base", std::int64_t{store.base()}).member("size", std::int64_t{store.size()});
    json.member("resources", static_cast<std::int64_t>(findings.resources));
    json.member("dead", findings.dead).member("behindEnd", findings.behind);
    json.key("damages").beginArray();
    for (auto const & [address, problem] : findings.damages) {
        json.beginObject().key("address");
        if (address.empty())
            json.null();
        else
            json.value(address);
        json.member("problem", problem).endObject();
    }
    json.endArray().endObject().print();
}

void print(Store const & store, Findings const & findings) {
    for (auto const & [address, problem] : findings.damages)
        std::printf("%s %s\n", (address.empty() ? store.name() : address).c_str(), problem.c_str());
    if (store.content() != Store::Content::Whole && !findings.damages.empty())
        return;
    std::printf("%zu resources%s, %s\n", findings.resources,
                store.isOldFormat() ? " in the old format" : "",
                findings.damages.empty() ? "all whole" : "damage found");
    if (findings.dead > 0)
        std::printf("%lld of %ld bytes are dead space\n", static_cast<long long>(findings.dead),
                    store.size());
    if (findings.behind > 0)
        std::printf("%lld of them lie behind the end, as a writing leaves them that was broken "
                    "off\n",
                    static_cast<long long>(findings.behind));
}

int check(std::string const & name, bool asJson) {
    Store store(name);
    Findings const findings = examine(store);
    if (asJson)
        printJson(store, findings);
    else
        print(store, findings);
    return findings.status();
}

/// The new file is looked over before it takes the place of the old one, which is held open until
/// then, so that nobody writes to it.
void compact(std::string const & given, bool asJson) {
    std::string const name = followLinks(given);
    Store store(name);
    store.requireDirectory();
    Findings const before = examine(store);
    if (!before.damages.empty())
        throw Failure(Damaged, given + " is damaged and stays as it is; see: ondrel pack check");
    std::int64_t newSize = store.size();
    if (store.root()) {
        std::string const part = nameBeside(name);
        writeStore(store, *store.root(), part);
        try {
            Store fresh(part);
            Findings const after = examine(fresh);
            if (after.status() != Done || after.resources != before.resources)
                throw Failure(NotDone, part + " was not written as it should be");
            newSize = fresh.size();
            putInPlace(part, name, true);
        } catch (...) {
            platform::removeFile(part.c_str());
            throw;
        }
    }
    if (asJson) {
        Json json;
        json.beginObject().member("file", given).member("sizeBefore", std::int64_t{store.size()});
        json.member("sizeAfter", newSize).endObject().print();
    } else {
        std::printf("%ld bytes before, %lld now\n", store.size(), static_cast<long long>(newSize));
    }
}

struct Options {
    std::string file;
    bool json = false;
};

} // namespace

void addPackCare(CLI::App & pack, int & status) {
    auto const checked = std::make_shared<Options>();
    CLI::App * const checking = addPackCommand(
        pack, "check", "Read every resource and tell damage and dead space", checked->file);
    checking->add_flag("--json", checked->json, "As JSON");
    checking->callback([checked, &status] { status = check(checked->file, checked->json); });

    auto const compacted = std::make_shared<Options>();
    CLI::App * const compacting = addPackCommand(
        pack, "compact", "Write the file anew without dead space, and put it in its place",
        compacted->file);
    compacting->add_flag("--json", compacted->json, "Tell the sizes as JSON");
    compacting->callback([compacted] { compact(compacted->file, compacted->json); });
}

} // namespace tool
