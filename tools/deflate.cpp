// `deflate` and `inflate`: single files through the compressor. The stream of the compressor has no
// header and no check sum; what these commands add is care about files.
#include "Command.h"
#include "Files.h"
#include "Json.h"
#include "Terminal.h"

#include "persistence/GFlateBufferedIO.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <vector>

namespace tool {

namespace {

constexpr char const * suffix = ".flate";
constexpr long bufferSize = 65536;

struct Options {
    std::string input, output;
    int level = GFlateBufferedIO::defaultLevel;
    bool force = false;
    bool json = false;
};

/// Reads from `from` until nothing comes, into `to`.
void pump(GIO & from, GIO & to, Source const & source, Sink const & sink) {
    Progress progress(source.name(), source.size());
    std::vector<unsigned char> piece(bufferSize);
    for (long got; (got = from.gread(piece.data(), bufferSize)) > 0;) {
        stopIfInterrupted();
        to.gwrite(piece.data(), got);
        sink.check();
        progress.show(source.count());
    }
    source.check();
}

void report(Options const & options, Source const & source, Sink const & sink) {
    if (!options.json)
        return;
    Json json;
    json.beginObject().member("input", options.input).member("output", options.output);
    json.member("inputSize", source.count()).member("outputSize", sink.count());
    json.endObject().print();
}

void checkOptions(Options const & options) {
    if (options.json && isStandard(options.output))
        throw Failure(WrongUsage, "--json and the output cannot both go to standard output");
}

void deflate(Options options) {
    if (options.output.empty())
        options.output = isStandard(options.input) ? options.input : options.input + suffix;
    checkOptions(options);
    Source source(options.input);
    auto * const sink = new Sink(options.output, options.force, true);
    GFlateBufferedIO flate(new GBufferedIO(sink, bufferSize), options.level);
    if (!flate.startWrite())
        throw Failure(NotDone, options.output + " cannot be written");
    pump(source, flate, source, *sink);
    flate.flush();
    sink->commit();
    report(options, source, *sink);
}

std::string withoutSuffix(std::string const & name) {
    std::size_t const length = std::char_traits<char>::length(suffix);
    if (name.size() <= length || name.compare(name.size() - length, length, suffix) != 0)
        throw Failure(WrongUsage,
                      name + " does not end in " + suffix + ": say where the output goes with -o");
    return name.substr(0, name.size() - length);
}

void inflate(Options options) {
    if (options.output.empty())
        options.output = isStandard(options.input) ? options.input : withoutSuffix(options.input);
    checkOptions(options);
    auto * const source = new Source(options.input);
    GFlateBufferedIO flate(new GBufferedIO(source, bufferSize));
    Sink sink(options.output, options.force, false);
    pump(flate, sink, *source, sink);
    if (flate.getHuffmanIO()->getError() != GIO::EndOfFile)
        throw Failure(Damaged, source->name() + " is damaged or cut off after " +
                                   std::to_string(sink.count()) + " bytes of its content");
    if (flate.getBufferedIO()->readByte() >= 0)
        throw Failure(Damaged, source->name() + " has bytes behind its end");
    sink.commit();
    report(options, *source, sink);
}

CLI::App * addCommand(CLI::App & program, char const * name, char const * description,
                      std::shared_ptr<Options> const & options) {
    CLI::App * const command = program.add_subcommand(name, description);
    command->add_option("FILE", options->input, "The file to read, - for standard input")
        ->required();
    command->add_flag("-f,--force", options->force, "Replace an output file that is there");
    command->add_flag("--json", options->json, "Tell the names and sizes as JSON");
    return command;
}

} // namespace

void addDeflate(CLI::App & program) {
    auto const out = std::make_shared<Options>();
    CLI::App * const deflating =
        addCommand(program, "deflate", "Compress a file; it stays as it is", out);
    deflating->add_option("-o,--output", out->output,
                          "The file to write, - for standard output (FILE.flate)");
    deflating->add_option("-l,--level", out->level, "From 1, the fastest, to 9, the smallest")
        ->check(CLI::Range(1, 9))
        ->capture_default_str();
    deflating->callback([out] { deflate(*out); });

    auto const in = std::make_shared<Options>();
    CLI::App * const inflating = addCommand(
        program, "inflate", "Restore a compressed file; the compressed one stays as it is", in);
    inflating->add_option("-o,--output", in->output,
                          "The file to write, - for standard output (FILE without .flate)");
    inflating->callback([in] { inflate(*in); });
}

} // namespace tool
