// The texts that people write: values, settings, redirection files, patterns. The first byte
// chooses which.
#include "Input.h"

#include "ondrel.h"

using namespace Tavlin;

namespace {

void readPattern(std::string const & text) {
    std::size_t const end = text.find('\n');
    RegularExpression const pattern(text.substr(0, end).c_str());
    int start = 0, length = 0;
    pattern.index(end == std::string::npos ? "abcabc" : text.c_str() + end + 1, start, length);
}

void readSettings(std::string const & text) {
    static InputFolder const folder;
    std::string const name =
        folder.put("x.ini", reinterpret_cast<std::uint8_t const *>(text.data()), text.size());
    {
        GInitializationFile file(name.c_str());
        GStringCollection topics;
        file.getTopicList(topics);
        for (long i = 0; i < topics.getCount() && i < 20; ++i) {
            GStringCollection keys;
            file.getKeyList(topics.at(i), keys);
            GString value;
            if (keys.getCount() > 0)
                file.getValue(topics.at(i), keys.at(0), value);
            file.setValue(topics.at(i), "added", "1");
        }
    }
    Ini ini(name.c_str());
    ini.getInt("Game", "added", 2);
}

void readRedirection(std::string const & text) {
    RedirectionFile file;
    file.load_from_string(text.c_str(), 0);
    if (RedirectionItem const * const item = file.find_matched_item("some.dat"))
        item->make_name("some.dat", 1);
}

} // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    if (size == 0)
        return 0;
    std::string const text(reinterpret_cast<char const *>(data) + 1, size - 1);
    try {
        switch (data[0] % 4) {
            case 0:
                DispatcherTextIO::VarToString(
                    DispatcherTextIO::InputVariable(text.c_str(), UNDEFINED), 1);
                break;
            case 1:
                readSettings(text);
                break;
            case 2:
                readRedirection(text);
                break;
            default:
                readPattern(text);
        }
    } catch (GException const &) {
    }
    return 0;
}
