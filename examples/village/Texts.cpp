// The texts of both languages side by side.
#include "Texts.h"

#include "ondrel.h"

#include <algorithm>

using namespace Tavlin;

namespace Village {

namespace {

struct Text {
    char const * key;
    char16_t const *english, *german;
};

Text const texts[] = {
    // states and reasons, by the names that the script gives them
    {"Sleeping", u"sleeping", u"schläft"},
    {"Working", u"working", u"arbeitet"},
    {"Eating", u"eating", u"isst"},
    {"Resting", u"resting", u"ruht"},
    {"Talking", u"talking", u"plaudert"},
    {"Trading", u"trading", u"handelt"},
    {"market", u"market day", u"Markttag"},
    {"rain", u"rain", u"Regen"},
    {"born", u"born", u"geboren"},
    {"dusk", u"dusk", u"Dämmerung"},
    {"morning", u"morning", u"Morgen"},
    {"hungry", u"hungry", u"hungrig"},
    {"tired", u"tired", u"müde"},
    {"noon", u"noon", u"Mittag"},
    {"full", u"full", u"satt"},
    {"rested", u"rested", u"ausgeruht"},
    {"done", u"done", u"fertig"},
    // hours
    {"evening", u"evening", u"Abend"},
    {"night", u"night", u"Nacht"},
    // the report
    {"day", u"day", u"Tag"},
    {"villager", u"villager", u"Name"},
    {"state", u"state", u"Zustand"},
    {"house", u"house", u"Haus"},
    {"days", u"days", u"Tage"},
    {"meals", u"meals", u"Essen"},
    {"loaves", u"loaves", u"Brote"},
    {"carries", u"carries", u"trägt"},
    {"coins", u"coins", u"Münzen"},
    {"market days", u"market days", u"Markttage"},
    {"on sale", u"loaves on the market", u"Brote auf dem Markt"},
    {"at hand", u"have a loaf of their own at hand", u"haben ein eigenes Brot zur Hand"},
    {"showers", u"showers of rain", u"Regenschauer"},
    {"hunger", u"hunger", u"Hunger"},
    {"words", u"words", u"Worte"},
    {"all", u"all", u"alle"},
    {"frames", u"frames", u"Bilder"},
    {"minutes", u"minutes of game time", u"Minuten Spielzeit"},
    {"villagers", u"villagers", u"Dorfbewohner"},
    {"changes", u"changes of state", u"Zustandswechsel"},
    {"more", u"more", u"weitere"},
    {"entered", u"how often each state was entered", u"wie oft jeder Zustand begann"},
    {"visits", u"meals were eaten at the bakery", u"Mahlzeiten gab es in der Bäckerei"},
    {"saved", u"the world is saved as", u"die Welt ist gesichert als"},
    {"bytes", u"bytes in the file", u"Bytes in der Datei"},
    {"reloaded", u"the world is dropped and loaded back from",
     u"die Welt ist verworfen und neu geladen aus"},
    {"the inn", u"the inn", u"Gasthof"},
    {"the mill", u"the mill", u"Mühle"},
    {"the cottage", u"the cottage", u"Kate"},
    {"the barn", u"the barn", u"Scheune"},
    {"record", u"the player's record: runs, most meals in one",
     u"Aufzeichnung des Spielers: Läufe, meiste Mahlzeiten"},
};

TRef<UString> stored(char16_t const * text) {
    std::u16string_view const view(text);
    std::vector<unsigned short> units(view.begin(), view.end());
    units.push_back(0);
    TRef<UString> const result(new UString);
    result->init(units.data());
    return result;
}

} // namespace

bool speak(std::string const & language) {
    if (language != "en" && language != "de")
        return false;
    TextDictionary::EmptyDictionary();
    TextDictionary dictionary;
    for (Text const & text : texts)
        dictionary.addItem(text.key, stored(language == "en" ? text.english : text.german));
    return true;
}

std::string say(char const * key) {
    return TextDictionary::GetString(NameLinkID(key)).c_str();
}

std::string padded(std::string const & text, int width) {
    // A byte that continues a character takes no place.
    auto const places =
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; });
    auto const wanted = static_cast<long>(width < 0 ? -width : width);
    std::string const blanks(static_cast<std::size_t>(std::max(wanted - places, 0L)), ' ');
    return width < 0 ? text + blanks : blanks + text;
}

std::string sayIn(char const * key, int width) {
    return padded(say(key), width);
}

} // namespace Village
