// `world`: the agents of a saved world. The host's classes are unknown here, so nothing is loaded:
// the frames are found as `stream` finds them, and of those the ones that the library wrote are
// read: agents, automats and their definitions, the table of the scene. Numbers of objects are
// those of the writer, since every frame counts, known or not.
#include "Command.h"
#include "Json.h"
#include "Layout.h"
#include "StreamFile.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <set>

namespace tool {

namespace {

struct Options {
    std::string file, generation;
    std::vector<std::string> agents;
    bool json = false;
};

struct SavedVariable {
    std::string name;
    SavedValue value;
};

/// Of an inventory.
struct SavedSlot {
    std::string name;
    std::vector<std::uint32_t> items;
    /// That these are all of them.
    bool isKnown = false;
};

struct SavedComponent {
    std::uint32_t number = 0;
    std::string className;
    /// Empty when nobody gave it one, or it cannot be told.
    std::string name;
    std::optional<float> priority;
    bool isAutomat = false;
    std::optional<std::string> state;
    std::vector<SavedVariable> variables;
    Reference inherited;
    /// Of an object of a library: the file, and its name is that in the library.
    std::optional<std::string> library;
    std::vector<SavedSlot> slots;
    /// Why it is not told further.
    std::string problem;
};

struct SavedAgent {
    std::uint32_t number = 0;
    std::string className;
    std::size_t offset = 0;
    std::string name;
    std::optional<bool> running;
    std::vector<SavedComponent> components;
    std::string problem;
};

struct SavedThing {
    std::string name;
    std::uint32_t number = 0;
};

struct Definition {
    std::vector<std::string> names;
};

char const * const shellClass = "Tavlin::AgentShell";
char const * const automatClass = "Tavlin::Automat";
char const * const markClass = "Tavlin::BookMark";
char const * const damaged = "is damaged, or of another version";

/// Reads the known objects of one stream.
class World {
  public:
    explicit World(ObjectStream const & stream) : stream_(stream) {
        for (StreamPart const & part : stream.parts)
            dumps_.emplace_back(part);
        for (ObjectStream::Place const place : stream.objects) {
            Frame const & frame = frameAt(place);
            if (frame.name == shellClass)
                agents_.push_back(readAgent(place));
            else if (frame.name == "Tavlin::SceneObject")
                readScene(place);
        }
        // What no agent of the library has belongs to the object around it, which may be an agent
        // of a class of the host's own.
        std::map<std::uint32_t, std::size_t> hosts;
        for (ObjectStream::Place const place : stream.objects) {
            Frame const & frame = frameAt(place);
            if (frame.name != automatClass || owned_.count(frame.number))
                continue;
            std::size_t const parent = frame.parent;
            Frame const * const around =
                parent == Frame::none ? nullptr : &stream.parts[place.part].tree.frames[parent];
            std::uint32_t const number = around ? around->number : 0;
            auto const [found, isNew] = hosts.emplace(number, agents_.size());
            if (isNew)
                agents_.push_back(strange(around));
            agents_[found->second].components.push_back(readComponent(frame.number));
        }
    }

    std::vector<SavedAgent> const & agents() const { return agents_; }
    std::vector<SavedThing> const & scene() const { return scene_; }
    std::string classOf(std::uint32_t number) const {
        Frame const * const frame = stream_.object(number);
        return frame ? std::string(frame->name) : "";
    }

  private:
    Frame const & frameAt(ObjectStream::Place place) const {
        return stream_.parts[place.part].tree.frames[place.frame];
    }
    FrameReader readerAt(ObjectStream::Place place) const {
        return FrameReader(stream_, place.part, place.frame, &dumps_[place.part]);
    }

    static SavedAgent strange(Frame const * around) {
        SavedAgent agent;
        if (around) {
            agent.number = around->number;
            agent.className = around->name;
            agent.offset = around->begin;
        }
        return agent;
    }

    SavedAgent readAgent(ObjectStream::Place place) {
        Frame const & frame = frameAt(place);
        SavedAgent agent = strange(&frame);
        FrameReader reader = readerAt(place);
        reader.read("4");
        readNode(reader, agent.name);
        std::size_t const before = reader.references().size();
        reader.read("A");
        unsigned char const running = reader.byte();
        if (reader.isDone())
            agent.running = running != 0;
        else
            agent.problem = damaged;
        std::vector<Reference> const & references = reader.references();
        for (std::size_t i = before; i < references.size(); ++i)
            agent.components.push_back(readComponent(references[i].number));
        return agent;
    }

    static void readNode(FrameReader & reader, std::string & name) {
        reader.read("2OM");
        if (reader.isGood())
            name = reader.lastName.value_or("");
        reader.read("LU");
    }

    SavedComponent readComponent(std::uint32_t number) {
        SavedComponent component;
        component.number = number;
        component.className = classOf(number);
        Frame const * const frame = stream_.object(number);
        if (!frame)
            return component;
        ObjectStream::Place const place = stream_.objects[number - 1];
        if (frame->name == automatClass) {
            owned_.insert(number);
            readAutomat(place, component);
            return component;
        }
        if (frame->name == markClass) {
            readMark(place, component);
            return component;
        }
        if (frame->name == "Tavlin::AgentInventory")
            readSlots(place, component);
        // A class of the host begins with a byte of its own, then with what all components write.
        for (std::size_t const own : {0, 1}) {
            FrameReader reader = readerAt(place);
            reader.skip(own);
            if (readComponentPart(reader, component))
                break;
        }
        return component;
    }

    static bool readComponentPart(FrameReader & reader, SavedComponent & component) {
        std::string name;
        reader.read("2");
        readNode(reader, name);
        float const priority = reader.real();
        if (!reader.isGood() || !std::isfinite(priority))
            return false;
        component.name = name;
        component.priority = priority;
        return true;
    }

    void readMark(ObjectStream::Place place, SavedComponent & component) const {
        FrameReader reader = readerAt(place);
        reader.read("0");
        std::string const file = reader.file();
        std::string const name = reader.name().value_or("");
        if (!reader.isDone()) {
            component.problem = damaged;
            return;
        }
        component.library = file;
        component.name = name;
    }

    void readSlots(ObjectStream::Place place, SavedComponent & component) const {
        FrameReader reader = readerAt(place);
        reader.read("0C");
        std::size_t const before = reader.references().size();
        reader.read("P");
        if (!reader.isDone())
            component.problem = damaged;
        for (std::size_t i = before; i < reader.references().size(); ++i)
            component.slots.push_back(readSlot(reader.references()[i].number));
    }

    /// A class of the host's is read as that of a component is.
    SavedSlot readSlot(std::uint32_t number) const {
        SavedSlot slot;
        if (!stream_.object(number))
            return slot;
        ObjectStream::Place const place = stream_.objects[number - 1];
        bool const isSingle = classOf(number) == "Tavlin::InventorySingleSlot";
        for (std::size_t const own : {0, 1}) {
            FrameReader reader = readerAt(place);
            reader.skip(own);
            reader.read("00");
            std::string name;
            readNode(reader, name);
            if (!reader.isGood())
                continue;
            slot.name = name;
            std::size_t const before = reader.references().size();
            reader.read(isSingle ? "p" : "P");
            slot.isKnown = reader.isDone();
            for (std::size_t i = before; slot.isKnown && i < reader.references().size(); ++i)
                if (std::uint32_t const item = reader.references()[i].number)
                    slot.items.push_back(item);
            break;
        }
        return slot;
    }

    void readAutomat(ObjectStream::Place place, SavedComponent & component) {
        component.isAutomat = true;
        FrameReader reader = readerAt(place);
        readComponentPart(reader, component);
        reader.read("4");
        Reference const definition = reader.pointer();
        Reference const state = reader.pointer();
        component.inherited = reader.pointer();
        if (reader.isGood())
            component.state = nameOfState(state.number);
        std::vector<std::string> const & names = namesOf(definition.number);
        std::uint32_t const count = reader.dword();
        for (std::uint32_t i = 0; i < count && reader.isGood(); ++i) {
            SavedVariable variable;
            variable.value = reader.value();
            if (!reader.isGood())
                break;
            variable.name = i < names.size() ? names[i] : "variable " + std::to_string(i);
            component.variables.push_back(variable);
        }
        if (!reader.isDone())
            component.problem = damaged;
    }

    std::optional<std::string> nameOfState(std::uint32_t number) const {
        if (classOf(number) != "Tavlin::D_State")
            return std::nullopt;
        FrameReader reader = readerAt(stream_.objects[number - 1]);
        reader.read("0n");
        return reader.lastName;
    }

    std::vector<std::string> const & namesOf(std::uint32_t number) {
        auto const [found, isNew] = definitions_.emplace(number, Definition());
        if (isNew && classOf(number) == "Tavlin::D_Automat") {
            FrameReader reader = readerAt(stream_.objects[number - 1]);
            reader.read("O2VP");
            for (std::uint32_t count = reader.dword(); count > 0 && reader.isGood(); --count)
                found->second.names.push_back(reader.name().value_or(""));
        }
        return found->second.names;
    }

    void readScene(ObjectStream::Place place) {
        FrameReader reader = readerAt(place);
        reader.read("10OU");
        for (std::uint32_t count = reader.dword(); count > 0 && reader.isGood(); --count) {
            std::string const name = reader.name().value_or("");
            std::uint32_t const number = reader.pointer().number;
            if (reader.isGood())
                scene_.push_back({name, number});
        }
    }

    ObjectStream const & stream_;
    std::vector<NameDump> dumps_;
    std::vector<SavedAgent> agents_;
    std::vector<SavedThing> scene_;
    std::map<std::uint32_t, Definition> definitions_;
    std::set<std::uint32_t> owned_;
};

std::string shown(World const & world, std::uint32_t number) {
    return number ? "#" + std::to_string(number) + " " + escaped(world.classOf(number)) : "null";
}

std::string shown(World const & world, SavedValue const & value) {
    if (value.reference)
        return shown(world, value.reference->number);
    if (value.isNull)
        return "null";
    std::string const text = escaped(value.text);
    return value.type == std::string("text") || value.type == std::string("name") ? "'" + text + "'"
                                                                                  : text;
}

void print(World const & world, SavedSlot const & slot) {
    std::printf("    slot %s:", escaped(slot.name).c_str());
    char const * separator = " ";
    if (!slot.isKnown)
        std::printf(" ?");
    else if (slot.items.empty())
        std::printf(" nothing");
    for (std::uint32_t const number : slot.items) {
        std::printf("%s%s", separator, shown(world, number).c_str());
        separator = ", ";
    }
    std::putchar('\n');
}

void printScript(World const & world, SavedComponent const & component) {
    std::printf("    state %s\n", component.state ? escaped(*component.state).c_str() : "none");
    for (SavedVariable const & variable : component.variables)
        std::printf("    %s = %s (%s)\n", escaped(variable.name).c_str(),
                    shown(world, variable.value).c_str(), variable.value.type);
    if (component.inherited.number)
        std::printf("    inherits %s\n", shown(world, component.inherited.number).c_str());
}

void print(World const & world, SavedComponent const & component) {
    std::printf("  %s", shown(world, component.number).c_str());
    if (!component.name.empty())
        std::printf(" %s", escaped(component.name).c_str());
    if (component.library)
        std::printf(" of library %s", escaped(*component.library).c_str());
    if (component.priority)
        std::printf(", priority %g", double{*component.priority});
    std::putchar('\n');
    for (SavedSlot const & slot : component.slots)
        print(world, slot);
    if (component.isAutomat)
        printScript(world, component);
    if (!component.problem.empty())
        std::printf("    ! %s\n", component.problem.c_str());
}

void print(World const & world, SavedAgent const & agent) {
    if (agent.className == shellClass)
        std::printf("%s #%u%s\n", agent.name.empty() ? "-" : escaped(agent.name).c_str(),
                    unsigned{agent.number},
                    agent.running && !*agent.running ? ", not running" : "");
    else
        std::printf("in %s\n", agent.number ? shown(world, agent.number).c_str() : "no object");
    for (SavedComponent const & component : agent.components)
        print(world, component);
    if (!agent.problem.empty())
        std::printf("  ! %s\n", agent.problem.c_str());
}

void addObject(Json & json, World const & world, std::uint32_t number) {
    if (!number)
        json.null();
    else
        json.beginObject()
            .member("class", world.classOf(number))
            .member("number", std::int64_t{number})
            .endObject();
}

void addReference(Json & json, World const & world, char const * key, std::uint32_t number) {
    json.key(key);
    addObject(json, world, number);
}

void add(Json & json, World const & world, SavedVariable const & variable) {
    SavedValue const & value = variable.value;
    json.beginObject().member("name", variable.name).member("type", value.type);
    if (value.reference) {
        addReference(json, world, "value", value.reference->number);
    } else {
        json.key("value");
        if (value.isNull)
            json.null();
        else if (value.isNumber)
            json.number(value.text);
        else
            json.value(value.text);
    }
    json.endObject();
}

void add(Json & json, World const & world, SavedSlot const & slot) {
    json.beginObject().member("name", slot.name).key("items").beginArray();
    for (std::uint32_t const number : slot.items)
        addObject(json, world, number);
    json.endArray().member("known", slot.isKnown).endObject();
}

void add(Json & json, World const & world, SavedComponent const & component) {
    json.beginObject().member("class", component.className);
    json.member("number", std::int64_t{component.number}).member("name", component.name);
    if (component.priority)
        json.key("priority").number(textOf(*component.priority));
    if (component.isAutomat) {
        json.key("state");
        if (component.state)
            json.value(*component.state);
        else
            json.null();
        addReference(json, world, "inherits", component.inherited.number);
        json.key("variables").beginArray();
        for (SavedVariable const & variable : component.variables)
            add(json, world, variable);
        json.endArray();
    }
    if (component.library)
        json.member("library", *component.library);
    if (component.className == "Tavlin::AgentInventory") {
        json.key("slots").beginArray();
        for (SavedSlot const & slot : component.slots)
            add(json, world, slot);
        json.endArray();
    }
    if (!component.problem.empty())
        json.member("problem", component.problem);
    json.endObject();
}

void add(Json & json, World const & world, SavedAgent const & agent) {
    json.beginObject().member("name", agent.name).member("class", agent.className);
    json.member("number", std::int64_t{agent.number});
    json.member("offset", static_cast<std::int64_t>(agent.offset));
    if (agent.running)
        json.member("running", *agent.running);
    json.key("components").beginArray();
    for (SavedComponent const & component : agent.components)
        add(json, world, component);
    json.endArray();
    if (!agent.problem.empty())
        json.member("problem", agent.problem);
    json.endObject();
}

/// Numbers in names count by their values, so that 10 comes behind 9.
bool comesBefore(std::string const & a, std::string const & b) {
    auto const isDigit = [](char c) { return c >= '0' && c <= '9'; };
    auto const numberAt = [&](std::string const & text, std::size_t & at) {
        while (at < text.size() && text[at] == '0')
            ++at;
        std::size_t const begin = at;
        while (at < text.size() && isDigit(text[at]))
            ++at;
        return text.substr(begin, at - begin);
    };
    std::size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            std::string const one = numberAt(a, i), other = numberAt(b, j);
            if (one != other)
                return one.size() != other.size() ? one.size() < other.size() : one < other;
        } else if (a[i] != b[j]) {
            return a[i] < b[j];
        } else {
            ++i;
            ++j;
        }
    }
    return i == a.size() && j < b.size();
}

bool holdsAgents(ObjectStream const & stream) {
    return std::any_of(stream.parts.begin(), stream.parts.end(), [](StreamPart const & part) {
        return std::any_of(part.tree.frames.begin(), part.tree.frames.end(), [](Frame const & f) {
            return f.name == shellClass || f.name == automatClass;
        });
    });
}

bool isNamed(std::string const & address, std::string const & generation) {
    std::size_t const name = address.rfind('/') + 1; // 0 when there is none
    return address == generation || address.substr(name, address.rfind(',') - name) == generation;
}

/// The last generation, or the one that was asked for. One that is so damaged that no agents are
/// left in it is told, as it may have been the last.
ObjectStream choose(StreamFile & file, Options const & options, int & status) {
    if (!file.isResourceFile()) {
        if (!options.generation.empty())
            throw Failure(NotDone, options.file + " is no resource file, so has no generations");
        return file.read("");
    }
    std::vector<std::string> addresses = file.resources();
    std::stable_sort(addresses.begin(), addresses.end(), comesBefore);
    for (std::size_t i = addresses.size(); i > 0; --i) {
        std::string const & address = addresses[i - 1];
        if (!options.generation.empty() && !isNamed(address, options.generation))
            continue;
        ObjectStream stream = file.read(address);
        if (!options.generation.empty() || holdsAgents(stream))
            return stream;
        if (!stream.isSound()) {
            reportBreaks(stream, options.file);
            status = Damaged;
        }
    }
    throw Failure(status == Damaged ? Damaged : NotDone,
                  options.generation.empty()
                      ? options.file + " holds no agents"
                      : options.file + " has no generation " + options.generation);
}

bool isWanted(Options const & options, SavedAgent const & agent) {
    return options.agents.empty() || std::find(options.agents.begin(), options.agents.end(),
                                               agent.name) != options.agents.end();
}

void printAll(World const & world, ObjectStream const & stream, Options const & options) {
    if (!stream.resource.empty())
        std::printf("%s\n", escaped(stream.resource).c_str());
    if (options.agents.empty() && !world.scene().empty()) {
        std::printf("scene\n");
        for (SavedThing const & thing : world.scene())
            std::printf("  %s = %s\n", escaped(thing.name).c_str(),
                        shown(world, thing.number).c_str());
    }
    for (SavedAgent const & agent : world.agents())
        if (isWanted(options, agent))
            print(world, agent);
}

void addAll(World const & world, ObjectStream const & stream, Options const & options) {
    Json json;
    json.beginObject().member("file", options.file).key("resource");
    if (stream.resource.empty())
        json.null();
    else
        json.value(stream.resource);
    json.key("scene").beginArray();
    for (SavedThing const & thing : world.scene()) {
        json.beginObject().member("name", thing.name);
        addReference(json, world, "value", thing.number);
        json.endObject();
    }
    json.endArray().key("agents").beginArray();
    for (SavedAgent const & agent : world.agents())
        if (isWanted(options, agent))
            add(json, world, agent);
    json.endArray().member("sound", stream.isSound()).endObject().print();
}

void run(Options const & options, int & status) {
    StreamFile file(options.file, Inflating::Find);
    ObjectStream const stream = choose(file, options, status);
    World const world(stream);
    for (std::string const & name : options.agents)
        if (std::none_of(world.agents().begin(), world.agents().end(),
                         [&](SavedAgent const & agent) { return agent.name == name; }))
            throw Failure(stream.isSound() ? NotDone : Damaged,
                          options.file + " has no agent " + name);
    if (options.json)
        addAll(world, stream, options);
    else
        printAll(world, stream, options);
    if (stream.isSound())
        return;
    reportBreaks(stream, options.file);
    status = Damaged;
}

} // namespace

void addWorld(CLI::App & program, int & status) {
    auto const options = std::make_shared<Options>();
    CLI::App * const command = program.add_subcommand(
        "world", "Show the agents of a saved world, their components, states and variables");
    command->add_option("FILE", options->file, "A resource file or a stream, - for standard input")
        ->required();
    command->add_option("--generation", options->generation,
                        "The name or the address of a resource (the last one that holds agents)");
    command
        ->add_option("--agent", options->agents,
                     "Only the agent of that name; may be given several times")
        ->allow_extra_args(false);
    command->add_flag("--json", options->json, "As JSON");
    command->callback([options, &status] { run(*options, status); });
}

} // namespace tool
