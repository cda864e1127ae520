// The text form of values. Numbers look the same on every platform: as %g prints them, but with an
// exponent of at least three digits, which files written by hand and older dumps have.
#include "tavlinbase/DispatcherTextIO.h"

#include "tavlinbase/DispInfoIterator.h"
#include "tavlinbase/IDispatcher.h"
#include "tavlinbase/NameLink.h"
#include "tavlinbase/TavlinObject.h"
#include "tavlinbase/VRefArray.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace Tavlin {

namespace {

// Values and objects may contain themselves, or each other in many ways: beyond these a text ends.
constexpr int depthLimit = 64;
constexpr std::size_t nestedTextLimit = 16u << 20;
constexpr int enteredLimit = 100000;

/// Indexed by the kind + 1.
constexpr char const * kindNames[] = {"UNDEFINED", "INT",    "FLOAT", "CHARPTR", "VECTOR3D",
                                      "VECTOR2D",  "OBJECT", "GRTTI", "GPOINT",  "NAMELINKID",
                                      "D3DMATRIX", "ARRAY",  "REF"};
static_assert(std::size(kindNames) == REF + 2);

/// Appends as %g does, whatever the locale.
void addNumber(std::string & text, double value) {
    char buffer[48];
    auto const end =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 6).ptr;
    std::string_view const digits(buffer, static_cast<std::size_t>(end - buffer));
    std::size_t const e = digits.find('e');
    if (e == std::string_view::npos) {
        text += digits;
        return;
    }
    text += digits.substr(0, e + 2); // the sign always stands behind the e
    std::string_view const exponent = digits.substr(e + 2);
    if (exponent.size() < 3)
        text.append(3 - exponent.size(), '0');
    text += exponent;
}

/// {a;b;...}
template <class T, class Add>
void addGroup(std::string & text, T const * values, int count, Add add) {
    text += '{';
    for (int i = 0; i < count; ++i) {
        if (i > 0)
            text += ';';
        add(text, values[i]);
    }
    text += '}';
}

void addValue(std::string & text, _Variable const & value, int flags, int depth);

void addArray(std::string & text, TRef<Object> const & object, int flags, int depth) {
    bool const mayEnter = depth == 0 || (depth < depthLimit && text.size() < nestedTextLimit);
    TRef<IVRefArray> const array =
        object && mayEnter ? object->queryInterface<IVRefArray>() : TRef<IVRefArray>();
    if (!array) {
        text += "<invalid array>";
        return;
    }
    text += "{ ";
    for (VRefArrayIterator i(array); i; ++i) {
        if (i.counter() > 0)
            text += ", ";
        addValue(text, *i.operator->(), flags, depth + 1);
    }
    text += " }";
}

void addFloat(std::string & text, float value) {
    std::size_t const start = text.size();
    addNumber(text, value);
    if (text.find('.', start) == std::string::npos)
        text += ".0";
}

void addBare(std::string & text, _Variable const & value, int flags, int depth) {
    auto const addInt = [](std::string & to, long n) { to += std::to_string(n); };
    switch (value.type()) {
        case UNDEFINED:
            text += "NULL";
            return;
        case INT:
            return addInt(text, value.asINT());
        case FLOAT:
            return addFloat(text, value.asFLOAT());
        case CHARPTR:
            text += '"';
            text += value.asCHARPTR();
            text += '"';
            return;
        case VECTOR3D: {
            _D3DVECTOR const & v = value.asVECTOR3D();
            float const values[] = {v.x, v.y, v.z};
            return addGroup(text, values, 3, addNumber);
        }
        case VECTOR2D: {
            double const values[] = {value.asVECTOR2D().x, value.asVECTOR2D().y};
            return addGroup(text, values, 2, addNumber);
        }
        case GPOINT: {
            long const values[] = {value.asGPOINT().x, value.asGPOINT().y};
            return addGroup(text, values, 2, addInt);
        }
        case D3DMATRIX:
            return addGroup(
                text, value.asD3DMATRIX().m, 4,
                [](std::string & to, float const(&row)[4]) { addGroup(to, row, 4, addNumber); });
        case NAMELINKID:
            text += '\'';
            text += value.asNAMELINKID().c_str();
            text += '\'';
            return;
        case ARRAY:
            return addArray(text, value.asARRAY(), flags, depth);
        case OBJECT:
            text += "<object>";
            return;
        case GRTTI:
            text += "<grtti>";
            return;
        case REF:
            text += "<ref>";
            return;
    }
    text += "<?}";
}

void addValue(std::string & text, _Variable const & value, int flags, int depth) {
    if (!(flags & DispatcherTextIO::WithTypes))
        return addBare(text, value, flags, depth);
    text += kindNames[value.type() + 1];
    text += "( ";
    addBare(text, value, flags, depth);
    text += " )";
}

std::string textOf(_Variable const & value, int flags) {
    std::string text;
    addValue(text, value, flags, 0);
    return text;
}

bool read(NameLinkID name, TRef<Object> const & object, VariableRef & value) {
    PropertyGetParams params(name, &value);
    return params.call(object);
}

/// The objects that a walk is inside of: an object that leads back to itself would never end.
class Walk {
  public:
    Walk(std::ostream & out, int flags) : out_(out), flags_(flags) {}

    void flat(TRef<Object> const & object, std::string const & prefix, int indent);
    bool grouped(TRef<Object> const & object, std::string const & header, int indent);

  private:
    class Inside;
    struct Named {
        NameLinkID name;
        VariableRef value;
    };

    bool mayEnter(Object const * object) const {
        return object && inside_.size() < depthLimit && entered_ < enteredLimit &&
               std::find(inside_.begin(), inside_.end(), object) == inside_.end();
    }

    std::ostream & out_;
    int flags_;
    std::vector<Object const *> inside_;
    int entered_ = 0;
};

class Walk::Inside {
  public:
    Inside(Walk & walk, Object const * object) : walk_(walk) {
        walk_.inside_.push_back(object);
        ++walk_.entered_;
    }
    ~Inside() { walk_.inside_.pop_back(); }
    Inside(Inside const &) = delete;
    Inside & operator=(Inside const &) = delete;

  private:
    Walk & walk_;
};

constexpr IDispatcher::CallType readable = IDispatcher::PropertyGet | IDispatcher::Variable;

void Walk::flat(TRef<Object> const & object, std::string const & prefix, int indent) {
    if (!mayEnter(object))
        return;
    Inside const inside(*this, object);
    for (DispObjectInfoIterator i(object, readable); i; ++i) {
        VariableRef value;
        if (!read(i.name(), object, value))
            continue;
        if (value.type() == GRTTI)
            continue;
        std::string const name = prefix + i.name().c_str();
        if (value.type() == OBJECT)
            flat(value.asOBJECT(), name + '.', indent);
        else
            out_ << std::string(static_cast<std::size_t>(std::max(indent, 0)), ' ') << name << " = "
                 << textOf(value, flags_) << '\n';
    }
}

bool Walk::grouped(TRef<Object> const & object, std::string const & header, int indent) {
    if (!mayEnter(object))
        return false;
    Inside const inside(*this, object);
    std::vector<Named> simple, objects;
    for (DispObjectInfoIterator i(object, readable); i; ++i) {
        VariableRef value;
        if (!read(i.name(), object, value) || value.type() == GRTTI)
            continue;
        if (value.type() != OBJECT)
            simple.push_back({i.name(), value});
        else if (value.asOBJECT())
            objects.push_back({i.name(), value});
    }
    std::string const margin(static_cast<std::size_t>(std::max(indent, 0)), ' ');
    std::string pending = header;
    bool wrote = false;
    if (!simple.empty()) {
        out_ << pending;
        pending.clear();
        wrote = true;
    }
    for (Named const & item : simple)
        out_ << margin << item.name.c_str() << " = " << textOf(item.value, flags_) << '\n';
    for (Named const & item : objects) {
        std::string const inner = pending + margin + item.name.c_str() + '\n' + margin + "{\n";
        // A copy: what is asked on the way may change the member that the value aliases.
        TRef<Object> const below = item.value.asOBJECT();
        if (!grouped(below, inner, indent + 2))
            continue;
        pending.clear();
        wrote = true;
        out_ << margin << "}\n";
    }
    return wrote;
}

// Reading. Nothing here fails: what is missing or malformed gives what atoi and atof would give.

bool isBlank(char c) {
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

std::string_view trimmed(std::string_view text, std::string_view set) {
    std::size_t const first = text.find_first_not_of(set);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(set) - first + 1);
}

/// Saturates at 32 bits; in front of the digits only blanks and a sign.
int toInt(std::string_view text) {
    errno = 0;
    long long const value = std::strtoll(std::string(text).c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long long>(value, INT32_MIN, INT32_MAX));
}

double toDouble(std::string_view text) {
    text = trimmed(text, " ");
    if (text.size() > 1 && text[0] == '+' && text[1] != '-')
        text.remove_prefix(1);
    double value = 0;
    auto const result = std::from_chars(text.data(), text.data() + text.size(), value);
    // Out of range: the C function gives the infinity or the zero of that sign.
    if (result.ec == std::errc::result_out_of_range)
        return std::strtod(std::string(text).c_str(), nullptr);
    return value;
}

float toFloat(std::string_view text) {
    return static_cast<float>(toDouble(text));
}

std::string without(std::string_view text, std::string_view set) {
    std::string result;
    for (char const c : text)
        if (set.find(c) == std::string_view::npos)
            result += c;
    return result;
}

std::string_view unbraced(std::string_view text) {
    if (!text.empty() && text.front() == '{')
        text.remove_prefix(1);
    if (!text.empty() && text.back() == '}')
        text.remove_suffix(1);
    return text;
}

/// Numbers with semicolons between them: each is what follows the preceding semicolon. Where there
/// is none, the number before it is read once more.
template <int count>
struct Pieces {
    std::string_view piece[count];

    explicit Pieces(std::string_view text) {
        for (std::string_view & p : piece) {
            p = text.substr(0, text.find(';'));
            if (p.size() < text.size())
                text.remove_prefix(p.size() + 1);
        }
    }
};

VariableRef parse(std::string_view text, VariableTypes kind, int depth);

VariableRef parseArray(std::string_view text, int depth) {
    if (depth >= depthLimit)
        return {};
    TRef<WritableVRefArray> const array = WritableVRefArray::Create();
    char quote = 0;
    int braces = 0;
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char const c = text[i];
        if (quote) {
            quote = c == quote ? 0 : quote;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '{') {
            ++braces;
        } else if (c == '}') {
            --braces;
        } else if (c == ',' && braces == 0) {
            array->insert(parse(text.substr(start, i - start), UNDEFINED, depth + 1));
            start = i + 1;
        }
    }
    if (!trimmed(text.substr(start), " ").empty())
        array->insert(parse(text.substr(start), UNDEFINED, depth + 1));
    return VariableRef::AsARRAY(TRef<Object>(array));
}

VariableTypes inferred(std::string_view text) {
    if (text.empty() || text == "NULL")
        return UNDEFINED;
    if (text[0] == '"')
        return CHARPTR;
    if (text[0] == '\'')
        return NAMELINKID;
    if (text[0] >= '0' && text[0] <= '9')
        return text.find_first_of(".e") != std::string_view::npos ? FLOAT : INT;
    return UNDEFINED;
}

VariableRef parseMatrix(std::string_view text) {
    std::string const bare = without(text, " {}");
    Pieces<16> const p(bare);
    _D3DMATRIX matrix;
    for (int i = 0; i < 16; ++i)
        matrix.m[i / 4][i % 4] = toFloat(p.piece[i]);
    return matrix;
}

VariableRef parseVector(std::string_view text, VariableTypes kind) {
    std::string const bare = without(text, " ");
    Pieces<3> const p(unbraced(bare));
    if (kind == VECTOR3D)
        return _D3DVECTOR{toFloat(p.piece[0]), toFloat(p.piece[1]), toFloat(p.piece[2])};
    if (kind == VECTOR2D)
        return Vector2D(toDouble(p.piece[0]), toDouble(p.piece[1]));
    return GPoint(toInt(p.piece[0]), toInt(p.piece[1]));
}

VariableRef parse(std::string_view given, VariableTypes kind, int depth) {
    std::string copied(given);
    std::replace_if(copied.begin(), copied.end(), isBlank, ' ');
    std::string_view text = trimmed(copied, " ");
    std::size_t const open = text.find('(');
    if (!text.empty() && text.back() == ')' && open != std::string_view::npos) {
        std::string_view const name = trimmed(text.substr(0, open), " ");
        text = trimmed(text.substr(open + 1, text.size() - open - 2), " ");
        auto const * const found = std::find(std::begin(kindNames), std::end(kindNames), name);
        if (found != std::end(kindNames))
            kind = VariableTypes(found - std::begin(kindNames) - 1);
    }
    if (kind == UNDEFINED)
        kind = inferred(text);
    switch (kind) {
        case INT:
            return toInt(text);
        case FLOAT:
            return toFloat(text);
        case CHARPTR:
            return std::string(trimmed(text, "\"")).c_str();
        case NAMELINKID:
            return NameLinkID(std::string(trimmed(text, "'")).c_str());
        case VECTOR3D:
        case VECTOR2D:
        case GPOINT:
            return parseVector(text, kind);
        case D3DMATRIX:
            return parseMatrix(text);
        case ARRAY:
            return parseArray(unbraced(text), depth);
        default:
            return {};
    }
}

/// Reads blocks of names and values, with the objects whose blocks are open.
class GroupedReader {
  public:
    GroupedReader(char const * text, TRef<Object> object)
        : rest_(text ? text : ""), object_(std::move(object)) {}

    void run() {
        while (skipBlanks())
            if (rest_[0] == '}')
                closeBlock();
            else
                readEntry();
    }

  private:
    bool skipBlanks() {
        std::size_t i = 0;
        while (i < rest_.size() && isSpace(rest_[i]))
            ++i;
        rest_.remove_prefix(i);
        return !rest_.empty();
    }
    static bool isSpace(char c) { return isBlank(c) || c == '\v' || c == '\f'; }
    void closeBlock() {
        rest_.remove_prefix(1);
        if (outer_.empty())
            return;
        object_ = std::move(outer_.back());
        outer_.pop_back();
    }
    std::string readName() {
        std::size_t i = 0;
        while (i < rest_.size() && !isSpace(rest_[i]))
            ++i;
        std::string name(rest_.substr(0, i));
        rest_.remove_prefix(i);
        return name;
    }
    void readEntry() {
        std::string const text = readName();
        NameLinkID name;
        VariableRef value;
        if (object_) {
            name = NameLinkID(text.c_str());
            if (!read(name, object_, value))
                value.empty();
        }
        rest_.remove_prefix(std::min(rest_.find_first_of("{="), rest_.size()));
        if (rest_.empty())
            return;
        bool const block = rest_[0] == '{';
        rest_.remove_prefix(1);
        if (block)
            openBlock(value);
        else
            assign(name, value.type());
    }
    void openBlock(VariableRef const & value) {
        outer_.push_back(object_);
        object_ = value.type() == OBJECT ? value.asOBJECT() : TRef<Object>();
    }
    void assign(NameLinkID name, VariableTypes kind) {
        std::string_view const line = rest_.substr(0, rest_.find_first_of("\n\r"));
        rest_.remove_prefix(line.size());
        VariableRef const value = parse(line, kind, 0);
        // What did not parse is no value that a setter could take.
        if (!object_ || value.isEmpty())
            return;
        PropertySetParams params(name, value);
        params.call(object_);
    }

    std::string_view rest_;
    TRef<Object> object_;
    std::vector<TRef<Object>> outer_;
};

} // namespace

GString DispatcherTextIO::VarToString(_Variable const & value, int flags) {
    std::string const text = textOf(value, flags);
    return GString(text.c_str(), static_cast<unsigned int>(text.size()));
}

void DispatcherTextIO::OutputVariables(std::ostream & out, TRef<Object> object, int flags,
                                       int indent) {
    Walk walk(out, flags);
    if (flags & Grouped)
        walk.grouped(object, {}, indent);
    else
        walk.flat(object, {}, indent);
}

VariableRef DispatcherTextIO::InputVariable(char const * text, VariableTypes kind) {
    return parse(text ? text : "", kind, 0);
}

void DispatcherTextIO::InputGroupedVariables(char const * text, TRef<Object> object) {
    GroupedReader(text, std::move(object)).run();
}

} // namespace Tavlin
