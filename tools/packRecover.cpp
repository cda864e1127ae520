// `pack recover`: what a damaged file still holds, as a new file. The file is a log, so older
// directories lie in it, and the blocks stand one behind the other. What a readable directory
// names comes back by its name. When the newest directory is gone, so do blocks that are found to
// be whole objects by themselves, under `lost/`.
#include "Pack.h"

#include "Address.h"
#include "Command.h"
#include "Files.h"
#include "Json.h"
#include "Store.h"
#include "Terminal.h"

#include "persistence/GFlateBufferedIO.h"
#include "persistence/ResourceFileFormat.h"
#include "persistence/mpstream.h"
#include "platform/FileSystem.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <memory>
#include <set>

namespace tool {

namespace {

using namespace resource_file;

constexpr char const * lostDirectory = "lost";
constexpr std::size_t longestClassName = 200;

/// Takes the first bytes of what is written to it.
class Head : public GIO {
  public:
    static constexpr std::size_t size = 1024;
    Head() { store_open_mode(WriteMode); }
    long gseek(long, IOSeekDirection) override { return -1; }
    long gread(void *, long) override { return 0; }
    long gwrite(void const * data, long count) override {
        auto const * const from = static_cast<unsigned char const *>(data);
        auto const room = static_cast<long>(size - bytes.size());
        bytes.insert(bytes.end(), from, from + std::min(room, count));
        return count;
    }
    std::vector<unsigned char> bytes;
};

/// The class of the object that begins here; empty when that is no object.
std::string classNameOf(std::vector<unsigned char> & bytes) {
    try {
        impstream stream(bytes.data(), static_cast<long>(bytes.size()), GIO::ReadMode);
        std::unique_ptr<char[]> const name(stream.read_class_name_from_pointer());
        if (!name || !stream)
            return {};
        std::string const text = name.get();
        bool const isName =
            !text.empty() && text.size() <= longestClassName &&
            std::all_of(text.begin(), text.end(), [](unsigned char c) {
                return std::isalnum(c) || std::string_view("_:<>, *&").find(static_cast<char>(c)) !=
                                              std::string_view::npos;
            });
        return isName ? text : std::string();
    } catch (...) {
        return {};
    }
}

class Salvage {
  public:
    explicit Salvage(Store & store) : store_(store) {
        findDirectories();
        if (!isNewestKnown_)
            searchGaps();
        takeNamed();
        if (!isNewestKnown_)
            takeUnnamed();
    }

    GResourceDirectory & root() { return *root_; }
    bool isEmpty() const { return taken_.empty(); }
    /// The directory that counts could be read.
    bool isNewestKnown() const { return isNewestKnown_; }
    std::size_t count() const { return taken_.size(); }
    std::size_t unnamed() const { return unnamed_; }
    /// Addresses whose blocks are gone.
    std::vector<std::string> const & lost() const { return lost_; }
    /// Addresses that came back as an older directory has them.
    std::vector<std::string> const & older() const { return older_; }

  private:
    struct Generation {
        long position;
        bool isCommitted;
        std::unique_ptr<GResourceDirectory> root;
    };
    struct Found {
        long begin, end;
        std::int64_t rawSize;
        std::string className;
    };

    void findDirectories();
    void addDirectory(long position, bool compressed, long trailerEnd);
    std::vector<std::pair<long, long>> gaps();
    void searchGaps();
    bool tryBlock(long begin, long end, Found & found);
    void takeNamed();
    void takeUnnamed();
    bool isWhole(ResourceFileBlock const & block);
    void take(GResourceFullName const & name, ResourceFileBlock const & block);

    Store & store_;
    bool isNewestKnown_ = false;
    std::vector<Generation> generations_;
    std::map<long, long> covered_; // begin and end of what is known
    std::vector<Found> found_;
    std::map<std::tuple<long, long, bool>, bool> verified_;
    std::set<std::string> taken_;
    std::vector<std::string> lost_, older_;
    std::size_t unnamed_ = 0;
    std::unique_ptr<GResourceDirectory> root_ = std::make_unique<GResourceDirectory>();
};

void Salvage::addDirectory(long position, bool compressed, long trailerEnd) {
    for (Generation const & generation : generations_)
        if (generation.position == position)
            return;
    long end = -1;
    std::unique_ptr<GResourceDirectory> root = store_.readDirectory(position, compressed, end);
    if (!root)
        return;
    covered_[position] = std::max(end, position + 1);
    bool const isCommitted =
        !compressed ||
        (end >= 0 && (trailerEnd - end == trailerSize || trailerEnd - end == 2 * trailerSize));
    generations_.push_back({position, isCommitted, std::move(root)});
}

/// From the newest to the oldest; those come last that were never committed.
void Salvage::findDirectories() {
    isNewestKnown_ = store_.content() == Store::Content::Whole;
    if (isNewestKnown_)
        addDirectory(store_.directoryBegin(), !store_.isOldFormat(), store_.end());
    std::uint32_t position = 0;
    std::set<std::uint32_t> tried;
    for (long end = store_.size();; --end) {
        stopIfInterrupted();
        store_.stream().clear();
        end = findTrailer(store_.stream(), store_.base(), end, position);
        if (end < 0)
            break;
        covered_[end - trailerSize] = end;
        if (position < static_cast<std::uint32_t>(end) && tried.insert(position).second)
            addDirectory(static_cast<long>(position), true, end);
    }
    store_.stream().clear();
    store_.stream().seekg(store_.base() + 4);
    auto const word = static_cast<std::uint32_t>(store_.stream().readDWord());
    if (word < static_cast<std::uint32_t>(store_.size()))
        addDirectory(static_cast<long>(word), false, -1);
}

bool Salvage::isWhole(ResourceFileBlock const & block) {
    auto const key = std::tuple(long{block.offset}, long{block.size}, block.compressed != 0);
    auto const [at, isNew] = verified_.try_emplace(key, false);
    if (isNew)
        at->second = store_.read(block, block.compressed != 0, nullptr).problem.empty();
    return at->second;
}

std::vector<std::pair<long, long>> Salvage::gaps() {
    for (Generation const & generation : generations_)
        for (Entry const & entry : entriesOf(*generation.root))
            if (entry.block.size > 0 && isWhole(entry.block)) {
                long & end = covered_[entry.block.offset];
                end = std::max(end, long{entry.block.offset} + entry.block.size);
            }
    std::vector<std::pair<long, long>> result;
    long now = headerSize;
    for (auto const & [begin, end] : covered_) {
        if (begin > now)
            result.emplace_back(now, begin);
        now = std::max(now, end);
    }
    if (now < store_.size())
        result.emplace_back(now, store_.size());
    return result;
}

bool Salvage::tryBlock(long begin, long end, Found & found) {
    Store::Reading reading;
    Head head;
    long const size = store_.readStream(begin, end, reading, &head);
    if (size < 0)
        return false;
    found = {begin, begin + size, reading.count, classNameOf(head.bytes)};
    return !found.className.empty();
}

/// Compressed objects that no directory tells of, and directories that no trailer leads to.
void Salvage::searchGaps() {
    Progress progress(store_.name(), store_.size());
    for (auto const & [first, last] : gaps())
        for (long at = first; at < last; ++at) {
            stopIfInterrupted();
            progress.show(at);
            Found found;
            if (!store_.mayBeginObject(at) || !tryBlock(at, last, found))
                continue;
            if (found.className == GResourceDirectory::metaclass_.getName())
                addDirectory(at, true, -1);
            else
                found_.push_back(found);
            at = found.end - 1;
        }
}

void Salvage::takeNamed() {
    auto const first = generations_.begin() + (isNewestKnown_ ? 1 : 0);
    std::stable_sort(first, generations_.end(), [](Generation const & a, Generation const & b) {
        return a.isCommitted != b.isCommitted ? a.isCommitted : a.position > b.position;
    });
    std::set<std::string> names;
    for (std::size_t i = 0; i < generations_.size(); ++i)
        for (Entry const & entry : entriesOf(*generations_[i].root)) {
            std::string const address = addressOf(entry.name);
            // What the newest directory does not name was removed.
            bool const isNew = isNewestKnown_ && i > 0 ? false : names.insert(address).second;
            if (taken_.count(address) || !names.count(address) || !isWhole(entry.block))
                continue;
            take(entry.name, entry.block);
            if (!isNew)
                older_.push_back(address);
        }
    std::set_difference(names.begin(), names.end(), taken_.begin(), taken_.end(),
                        std::back_inserter(lost_));
}

void Salvage::takeUnnamed() {
    std::set<long> named;
    for (Generation const & generation : generations_)
        for (Entry const & entry : entriesOf(*generation.root))
            named.insert(entry.block.offset);
    GResourcePath const path{GString(lostDirectory)};
    for (Found const & found : found_) {
        if (named.count(found.begin))
            continue;
        ResourceFileBlock block;
        block.offset = static_cast<std::int32_t>(found.begin);
        block.size = static_cast<std::int32_t>(found.end - found.begin);
        block.rawSize = static_cast<std::int32_t>(found.rawSize);
        std::string const name = "block-" + std::to_string(found.begin);
        take(GResourceFullName(path, GString(name.c_str()), GString(found.className.c_str())),
             block);
        ++unnamed_;
    }
}

void Salvage::take(GResourceFullName const & name, ResourceFileBlock const & block) {
    taken_.insert(addressOf(name));
    GResourceDirectory * directory = root_.get();
    bool existed = false;
    for (int i = 0; i < name.getCount(); ++i)
        directory = directory->create_subdirectory(name[i], existed);
    long index = 0;
    if (!directory->search(name.type.c_str(), index))
        directory->at_insert(index, new ResourceTypeItem(name.type));
    ResourceCollection & items = directory->at(index)->makeItems();
    if (items.search(name.name.c_str(), index))
        return;
    auto * const item = new ResourceItem(name.name);
    static_cast<ResourceFileBlock &>(*item) = block;
    items.at_insert(index, item);
}

struct Options {
    std::string file, output;
    bool force = false;
    bool json = false;
};

void addTexts(Json & json, char const * name, std::vector<std::string> const & texts) {
    json.key(name).beginArray();
    for (std::string const & text : texts)
        json.value(text);
    json.endArray();
}

void report(Options const & options, Salvage const & salvage) {
    if (options.json) {
        Json json;
        json.beginObject().member("file", options.file).member("output", options.output);
        json.member("directoryRead", salvage.isNewestKnown());
        json.member("recovered", static_cast<std::int64_t>(salvage.count()));
        json.member("unnamed", static_cast<std::int64_t>(salvage.unnamed()));
        addTexts(json, "older", salvage.older());
        addTexts(json, "lost", salvage.lost());
        json.endObject().print();
        return;
    }
    for (std::string const & address : salvage.older())
        std::printf("%s is there as it was before\n", address.c_str());
    for (std::string const & address : salvage.lost())
        std::printf("%s is lost\n", address.c_str());
    if (!salvage.isNewestKnown())
        std::puts("the last directory is lost; removed resources may be there again, and the "
                  "newest may be missing");
    std::printf("%zu resources recovered\n", salvage.count());
    if (salvage.unnamed() > 0)
        std::printf("%zu of them have lost their names and are in %s/\n", salvage.unnamed(),
                    lostDirectory);
}

int recover(Options const & options) {
    Store store(options.file);
    platform::FileStatus status;
    std::error_code ignored;
    if (std::filesystem::equivalent(options.file, options.output, ignored))
        throw Failure(WrongUsage, "the damaged file stays as it is; name another output");
    if (platform::fileStatus(options.output.c_str(), status) && !options.force)
        throw Failure(NotDone, options.output + " is there already; --force replaces it");
    Salvage salvage(store);
    if (salvage.isEmpty() && store.content() != Store::Content::Whole)
        throw Failure(Damaged, "nothing was found in " + options.file);
    std::string const name = followLinks(options.output), part = nameBeside(name);
    writeStore(store, salvage.root(), part);
    try {
        putInPlace(part, name, options.force);
    } catch (...) {
        platform::removeFile(part.c_str());
        throw;
    }
    report(options, salvage);
    bool const isAll = salvage.isNewestKnown() && salvage.lost().empty() && salvage.older().empty();
    return isAll ? Done : Damaged;
}

} // namespace

void addPackRecover(CLI::App & pack, int & status) {
    auto const options = std::make_shared<Options>();
    CLI::App * const command = addPackCommand(
        pack, "recover", "Bring what a damaged file still holds into a new file", options->file);
    command->add_option("OUTPUT", options->output, "The new file")->required();
    command->add_flag("-f,--force", options->force, "Replace an output file that is there");
    command->add_flag("--json", options->json, "Tell what was found as JSON");
    command->callback([options, &status] { status = recover(*options); });
}

} // namespace tool
