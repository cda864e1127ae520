// `pack`: what is in a resource file, one resource at a time. A file is looked at before it is
// opened for writing, since the library would begin a damaged one anew.
#include "Pack.h"

#include "Address.h"
#include "Command.h"
#include "Files.h"
#include "Json.h"
#include "Store.h"
#include "Terminal.h"

#include "persistence/mpstream.h"
#include "platform/FileSystem.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace tool {

namespace {

struct Options {
    std::string file, resource, second;
    std::string output = "-";
    bool json = false;
    bool force = false;
    bool stored = false;
};

/// What a terminal can show.
std::string shown(std::string text) {
    for (char & c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
            c = '?';
    return text.empty() ? "-" : text;
}

void addMembers(Json & json, Entry const & entry, std::string const & className, long base) {
    json.member("address", addressOf(entry.name).c_str());
    json.key("path").beginArray();
    for (int i = 0; i < entry.name.getCount(); ++i)
        json.value(entry.name[i].c_str());
    json.endArray().member("name", entry.name.name.c_str()).member("type", entry.name.type.c_str());
    json.member("offset", std::int64_t{base} + entry.block.offset);
    json.member("size", std::int64_t{entry.block.size}).key("rawSize");
    if (entry.block.rawSize < 0)
        json.null();
    else
        json.value(std::int64_t{entry.block.rawSize});
    json.member("compressed", entry.block.compressed != 0).key("class");
    if (className.empty())
        json.null();
    else
        json.value(className);
}

void list(Options const & options) {
    Store store(options.file);
    store.requireDirectory();
    std::vector<Entry> const entries = store.entries();
    if (options.json) {
        Json json;
        json.beginObject().member("file", options.file).key("resources").beginArray();
        for (Entry const & entry : entries) {
            json.beginObject();
            addMembers(json, entry, store.className(entry.name), store.base());
            json.endObject();
        }
        json.endArray().endObject().print();
        return;
    }
    if (!entries.empty())
        std::printf("%10s %10s  %-24s %s\n", "size", "raw size", "class", "resource");
    for (Entry const & entry : entries) {
        std::string const raw = entry.block.rawSize < 0 ? "?" : std::to_string(entry.block.rawSize);
        std::printf("%10ld %10s  %-24s %s\n", static_cast<long>(entry.block.size), raw.c_str(),
                    shown(store.className(entry.name)).c_str(), addressOf(entry.name).c_str());
    }
}

void get(Options const & options) {
    GResourceFullName const name = resourceAt(options.resource);
    Store store(options.file);
    store.requireDirectory();
    for (Entry const & entry : store.entries()) {
        if (!(entry.name == name))
            continue;
        Sink sink(options.output, options.force, true);
        bool const decompress = entry.block.compressed != 0 && !options.stored;
        Store::Reading const reading = store.read(entry.block, decompress, &sink);
        if (!reading.problem.empty())
            throw Failure(Damaged, options.resource + " " + reading.problem);
        sink.commit();
        return;
    }
    throw Failure(NotDone, options.file + " has no resource " + options.resource);
}

/// A file that is there and can be written. `mayBeMissing` lets a new one be made.
std::unique_ptr<ResourceFile> openToWrite(std::string const & name, bool mayBeMissing) {
    platform::FileStatus status;
    if (!mayBeMissing || platform::fileStatus(name.c_str(), status))
        Store(name).requireDirectory();
    auto file = std::make_unique<ResourceFile>(name.c_str(), GIO::ReadWriteMode);
    if (!file->is_open() || !(file->io_mode() & GIO::WriteMode))
        throw Failure(NotDone, name + " cannot be written, or is in use by another program");
    return file;
}

void save(ResourceFile & file, std::string const & name) {
    if (!file.flush())
        throw Failure(NotDone, name + " cannot be written; perhaps the disk is full");
}

void refuseExisting(bool exists, bool force, std::string const & address) {
    if (exists && !force)
        throw Failure(NotDone, address + " is there already; --force replaces it");
}

/// All there is; standard input cannot be asked for its length.
std::vector<unsigned char> contentOf(std::string const & name) {
    Source source(name);
    std::vector<unsigned char> bytes, piece(65536);
    for (long got; (got = source.gread(piece.data(), static_cast<long>(piece.size()))) > 0;) {
        stopIfInterrupted();
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + got);
        if (bytes.size() > 0x7FFFFFFF)
            throw Failure(NotDone, source.name() + " is too large for a resource");
    }
    source.check();
    return bytes;
}

void store(ResourceFile & file, Options const & options, std::vector<unsigned char> & bytes) {
    GResourceFullName const name = resourceAt(options.resource);
    refuseExisting(file.exist(name), options.force, options.resource);
    auto const size = static_cast<long>(bytes.size());
    impstream stream(bytes.data(), size, GIO::ReadMode);
    if (!file.copy_from(name, stream, size, options.stored ? 0u : ResourceFile::CopyCompress))
        throw Failure(NotDone, options.file + " cannot be written; perhaps the disk is full");
    save(file, options.file);
}

void put(Options const & options) {
    resourceAt(options.resource); // refuses a wrong address before anything is read or made
    std::vector<unsigned char> bytes = contentOf(options.second);
    platform::FileStatus status;
    bool const isNew = !platform::fileStatus(options.file.c_str(), status);
    auto file = openToWrite(options.file, true);
    try {
        store(*file, options, bytes);
    } catch (...) {
        file.reset();
        if (isNew)
            platform::removeFile(options.file.c_str());
        throw;
    }
}

void remove(Options const & options) {
    auto const file = openToWrite(options.file, false);
    bool const isRemoved = isDirectoryAddress(options.resource)
                               ? file->remove_directory(directoryAt(options.resource))
                               : file->remove(resourceAt(options.resource));
    if (!isRemoved)
        throw Failure(NotDone, options.file + " has no " + options.resource);
    save(*file, options.file);
}

void renameResource(ResourceFile & file, Options const & options) {
    GResourceFullName const from = resourceAt(options.resource), to = resourceAt(options.second);
    if (!file.exist(from))
        throw Failure(NotDone, options.file + " has no resource " + options.resource);
    if (from == to)
        return;
    refuseExisting(file.exist(to), options.force, options.second);
    if (!file.rename(from, to))
        throw Failure(NotDone, options.resource + " cannot become " + options.second);
}

void renameDirectory(ResourceFile & file, Options const & options) {
    GResourcePath const from = directoryAt(options.resource), to = directoryAt(options.second);
    if (!file.directory_exists(from))
        throw Failure(NotDone, options.file + " has no directory " + options.resource);
    if (from == to)
        return;
    refuseExisting(file.directory_exists(to), options.force, options.second);
    if (!file.rename_directory(from, to))
        throw Failure(NotDone, options.resource + " cannot become " + options.second);
}

void rename(Options const & options) {
    bool const isDirectory = isDirectoryAddress(options.resource);
    if (isDirectory != isDirectoryAddress(options.second))
        throw Failure(WrongUsage, "a directory can become a directory only; both end in /");
    auto const file = openToWrite(options.file, false);
    if (isDirectory)
        renameDirectory(*file, options);
    else
        renameResource(*file, options);
    save(*file, options.file);
}

} // namespace

CLI::App * addPackCommand(CLI::App & pack, char const * name, char const * description,
                          std::string & file) {
    CLI::App * const command = pack.add_subcommand(name, description);
    command->add_option("FILE", file, "The resource file")->required();
    return command;
}

static void addSingleCommands(CLI::App & pack) {
    auto const add = [&](char const * name, char const * description,
                         void (*run)(Options const &)) {
        auto const options = std::make_shared<Options>();
        CLI::App * const command = addPackCommand(pack, name, description, options->file);
        command->callback([options, run] { run(*options); });
        return std::pair(command, options);
    };
    auto const [listing, listOptions] = add("list", "Tell what a file holds", list);
    listing->add_flag("--json", listOptions->json, "As JSON");

    auto const [getting, getOptions] =
        add("get", "Write out the bytes of a resource, decompressed", get);
    getting->add_option("RESOURCE", getOptions->resource, "directory/name,type")->required();
    getting->add_option("-o,--output", getOptions->output, "The file to write (standard output)");
    getting->add_flag("-f,--force", getOptions->force, "Replace an output file that is there");
    getting->add_flag("--stored", getOptions->stored, "The bytes as they lie in the file");

    auto const [putting, putOptions] = add(
        "put", "Store the bytes of a file as a resource; a resource file that is not there is made",
        put);
    putting->add_option("RESOURCE", putOptions->resource, "directory/name,type")->required();
    putting->add_option("INPUT", putOptions->second, "The file to read, - for standard input")
        ->required();
    putting->add_flag("-f,--force", putOptions->force, "Replace a resource that is there");
    putting->add_flag("--stored", putOptions->stored, "Do not compress");

    auto const [removing, removeOptions] =
        add("remove", "Remove a resource, or a directory with all that is in it", remove);
    removing->add_option("RESOURCE", removeOptions->resource, "directory/name,type or directory/")
        ->required();

    auto const [renaming, renameOptions] =
        add("rename", "Give a resource or a directory another name or place", rename);
    renaming->add_option("FROM", renameOptions->resource, "directory/name,type or directory/")
        ->required();
    renaming->add_option("TO", renameOptions->second, "The new address of the same kind")
        ->required();
    renaming->add_flag("-f,--force", renameOptions->force, "Replace what has that name already");
}

void addPack(CLI::App & program, int & status) {
    CLI::App * const pack = program.add_subcommand("pack", "Work on a resource file");
    pack->require_subcommand(1);
    addSingleCommands(*pack);
    addPackCare(*pack, status);
    addPackRecover(*pack, status);
}

} // namespace tool
