// `ini`: one setting in a file of settings. A change leaves every other line of the file as it is,
// and the file of before stays until the new one is whole.
#include "Address.h"
#include "Command.h"
#include "Files.h"
#include "Json.h"

#include "foundation/GInitializationFile.h"
#include "foundation/Ini.h"
#include "platform/FileSystem.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <memory>
#include <system_error>

namespace tool {

namespace {

struct Options {
    std::string file, address, value;
    bool alone = false;
    bool json = false;
};

struct Setting {
    std::string section, key;
};

Setting settingAt(std::string const & address) {
    std::size_t const slash = address.find('/');
    if (slash == address.npos || slash + 1 == address.size())
        throw Failure(WrongUsage, address + " is no address; write SECTION/KEY");
    return {decodedAddress(address.substr(0, slash)), decodedAddress(address.substr(slash + 1))};
}

/// Refuses what would read back as something else.
void checkWritable(Setting const & setting, std::string const & value) {
    constexpr char const * blanks = " \t\n\r";
    std::string const & key = setting.key;
    if (setting.section.find_first_of("]\n\r") != std::string::npos)
        throw Failure(WrongUsage, "a section has no ] and no line break in its name");
    if (key.find_first_of("=\n\r") != std::string::npos || key.find_first_of(";[") == 0 ||
        key.find_first_of(blanks) == 0 || key.find_last_of(blanks) == key.size() - 1)
        throw Failure(WrongUsage,
                      "a key has no = and no line break in it, no blanks around it, and "
                      "does not begin with ; or [");
    if (value.find_first_of("\n\r") != std::string::npos)
        throw Failure(WrongUsage, "a value is one line");
}

/// Refuses what the library would take for a file without lines.
void checkReadable(std::string const & name) {
    Source const source(name);
    GInitializationFile const file(name.c_str());
    if (source.size() < 0)
        throw Failure(NotDone, name + " is no plain file");
    if (source.size() > 0 && file.getCount() == 0)
        throw Failure(NotDone, name + " cannot be read, or is too large for a file of settings");
}

void report(Options const & options, Setting const & setting, GString const & value,
            GString const * former) {
    Json json;
    json.beginObject().member("file", options.file).member("section", setting.section);
    json.member("key", setting.key).member("value", value.c_str());
    if (former)
        json.member("former", former->c_str());
    json.endObject().print();
}

void get(Options const & options) {
    Setting const setting = settingAt(options.address);
    checkReadable(options.file);
    GString value;
    char const * const section = setting.section.c_str();
    char const * const key = setting.key.c_str();
    bool const isThere =
        options.alone ? GInitializationFile(options.file.c_str()).getValue(section, key, value)
                      : Tavlin::Ini(options.file.c_str()).getValue(section, key, value);
    if (!isThere)
        throw Failure(NotDone, options.file + " has no " + options.address);
    if (options.json)
        report(options, setting, value, nullptr);
    else
        std::printf("%s\n", value.c_str());
}

void save(GInitializationFile & file, std::string const & name) {
    errno = 0;
    if (file.update())
        return;
    int const error = errno;
    file.setFileName(nullptr); // or the end of the object would try again
    throw Failure(NotDone, name + " cannot be written" +
                               (error ? ": " + std::generic_category().message(error) : ""));
}

void set(Options const & options) {
    Setting const setting = settingAt(options.address);
    checkWritable(setting, options.value);
    platform::FileStatus status;
    if (platform::fileStatus(options.file.c_str(), status))
        checkReadable(options.file);
    GInitializationFile file(options.file.c_str());
    char const * const section = setting.section.c_str();
    char const * const key = setting.key.c_str();
    GString former;
    bool const isThere = file.getValue(section, key, former);
    if (!isThere || !(former == options.value.c_str())) {
        file.setValue(section, key, options.value.c_str());
        save(file, options.file);
    }
    if (options.json)
        report(options, setting, GString(options.value.c_str()), isThere ? &former : nullptr);
}

CLI::App * addCommand(CLI::App & ini, char const * name, char const * description,
                      std::shared_ptr<Options> const & options) {
    CLI::App * const command = ini.add_subcommand(name, description);
    command->add_option("FILE", options->file, "The file of settings")->required();
    command
        ->add_option("SECTION/KEY", options->address,
                     "The first / separates; %2F is one in the name of a section, %25 a %")
        ->required();
    command->add_flag("--json", options->json, "Tell the setting as JSON");
    return command;
}

} // namespace

void addIni(CLI::App & program) {
    CLI::App * const ini = program.add_subcommand("ini", "Look at a file of settings or change it");
    ini->require_subcommand(1);

    auto const asked = std::make_shared<Options>();
    CLI::App * const getting =
        addCommand(*ini, "get", "Print a value as a program would read it, blanks included", asked);
    getting->add_flag("--alone", asked->alone, "Do not look into the files that it includes");
    getting->callback([asked] { get(*asked); });

    auto const given = std::make_shared<Options>();
    CLI::App * const setting = addCommand(
        *ini, "set", "Change a value, or add it; a file that is not there is made", given);
    setting->add_option("VALUE", given->value, "One line; write -- in front of one such as -x")
        ->required();
    setting->callback([given] { set(*given); });
}

} // namespace tool
