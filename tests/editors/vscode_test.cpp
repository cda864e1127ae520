// What the folder for Visual Studio Code says about the language is held against the language: the
// colours line by line, the snippets by the library's parser, the problem matcher by the linter.
#include "platform/Version.h"
#include "tavlinmid/D_Automat.h"
#include "tests/editors/Grammar.h"
#include "tests/tools/program_support.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>

using Json = nlohmann::json;
namespace fs = std::filesystem;

namespace {

fs::path const folder = ONDREL_SOURCE_DIR "/editors/vscode";

std::string content(fs::path const & path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

Json parsed(fs::path const & path) {
    return Json::parse(content(folder / path));
}

Grammar grammar() {
    return Grammar(parsed("syntaxes/automat.tmLanguage.json"));
}

/// text=scope of each token; the scope by its first and last part.
std::string shown(std::vector<Grammar::Token> const & tokens) {
    std::string line;
    for (Grammar::Token const & token : tokens) {
        std::string const & scope = token.scope;
        line += line.empty() ? "" : " ";
        for (wchar_t const c : token.text)
            line += c < 0x80 ? static_cast<char>(c) : '^';
        line += '=' + scope.substr(0, scope.find('.')) + '.' + scope.substr(scope.rfind('.') + 1);
    }
    return line;
}

/// What a snippet puts into the text when each of its places is left as it is.
std::string expanded(Json const & body) {
    std::string text;
    for (std::string const line : body)
        text += line + '\n';
    static std::regex const place(R"(\$\{(\d+):([^{}$]*)\}|\$(\d+))");
    std::map<std::string, std::string> values{{"0", ""}};
    std::string result;
    std::string rest = text;
    for (std::smatch found; std::regex_search(rest, found, place); rest = found.suffix()) {
        if (found[1].matched) {
            EXPECT_TRUE(values.emplace(found.str(1), found.str(2)).second) << text;
        }
        std::string const & number = found[1].matched ? found.str(1) : found.str(3);
        EXPECT_EQ(values.count(number), 1u) << text;
        result += found.prefix().str() + values[number];
    }
    result += rest;
    EXPECT_EQ(result.find('$'), std::string::npos) << text;
    return result;
}

} // namespace

TEST(VsCode, TheColoursSayWhatTheLanguageReads) {
    struct {
        char const * line;
        char const * tokens;
    } const cases[] = {
        {"State Open", "State=storage.state Open=entity.state"},
        {"Method\tStep", "Method=storage.method Step=entity.method"},
        {"goto Open.Wide", "goto=keyword.goto Open.Wide=entity.state"},
        // Keywords are words of their own, in this spelling, without a parenthesis.
        {"gotox state Method.a",
         "gotox=variable.other state=variable.other Method.a=variable.other"},
        {"goto (1)",
         "goto=entity.call (=punctuation.parens 1=constant.integer )=punctuation.parens"},
        {"State Open()",
         "State=storage.state Open=entity.call (=punctuation.parens )=punctuation.parens"},
        {"if (a)",
         "if=keyword.conditional (=punctuation.parens a=variable.other )=punctuation.parens"},
        {"if a", "if=variable.other a=variable.other"},
        {"doAfter(2.5, f())",
         "doAfter=keyword.wait (=punctuation.parens 2.5=constant.float ,=punctuation.arguments "
         "f=entity.call (=punctuation.parens )=punctuation.parens )=punctuation.parens"},
        {"doafter( iff(", "doafter=entity.call (=punctuation.parens iff=entity.call "
                          "(=punctuation.parens"},
        // Paths lead to something in calls only.
        {"scene.door.Open (", "scene=variable.language .=punctuation.path door.=variable.object "
                              "Open=entity.call (=punctuation.parens"},
        {"inherited.F(", "inherited=variable.language .=punctuation.path F=entity.call "
                         "(=punctuation.parens"},
        {"a.me.F(", "a.me.=variable.object F=entity.call (=punctuation.parens"},
        {"me.x scene meme.F(", "me.x=variable.other scene=variable.other meme.=variable.object "
                               "F=entity.call (=punctuation.parens"},
        {"a.1", "a.=variable.other 1=constant.integer"},
        {"p := 10 -20", "p=variable.declaration :==keyword.declaration 10 -20=constant.point"},
        {"p\t: = 1",
         "p=variable.other :=invalid.character ==keyword.assignment 1=constant.integer"},
        // A minus that touches a digit belongs to the number, and two integers are a point.
        {"a -1", "a=variable.other -1=constant.integer"},
        {"a - 1", "a=variable.other -=keyword.arithmetic 1=constant.integer"},
        {"1\t2 3.5", "1=constant.integer 2 3=constant.point .5=constant.float"},
        {"-.5 2. 1e3 .5e-3 1e", "-.5=constant.float 2.=constant.float 1e3=constant.integer "
                                ".5e-3=constant.float 1=constant.integer e=variable.other"},
        // Strings hold few characters, and have no escapes.
        {"\"Room 2, left!\"",
         "\"=punctuation.begin Room 2, left!=string.double \"=punctuation.end"},
        {"\"\"", "\"=punctuation.begin \"=punctuation.end"},
        {"\"\xC3\xA9\xC3\xBF\"", "\"=punctuation.begin ^^=string.double \"=punctuation.end"},
        {"\"50%\"", "\"50=invalid.string %=invalid.character \"=invalid.string"},
        {"f(\"a/\", \"b\")", "f=entity.call (=punctuation.parens \"a=invalid.string "
                             "/=keyword.arithmetic \"=punctuation.begin , =string.double "
                             "\"=punctuation.end b=variable.other \"=invalid.string "
                             ")=punctuation.parens"},
        {"\"\xC2\xBF\"", "\"=invalid.string ^=invalid.character \"=invalid.string"},
        {"'door' '1'", "'=punctuation.begin door=constant.symbol '=punctuation.end "
                       "'=invalid.character 1=constant.integer '=invalid.character"},
        // What there is not.
        {"a <= b >= c", "a=variable.other <==invalid.operator b=variable.other >==invalid.operator "
                        "c=variable.other"},
        {"a != b ! c", "a=variable.other !==keyword.comparison b=variable.other "
                       "!=invalid.character c=variable.other"},
        {"a & b && c || d | e", "a=variable.other &=invalid.character b=variable.other "
                                "&&=keyword.logical c=variable.other ||=keyword.logical "
                                "d=variable.other |=invalid.character e=variable.other"},
        {"a == b = c", "a=variable.other ===keyword.comparison b=variable.other "
                       "==keyword.assignment c=variable.other"},
        {"a[1] # \\", "a=variable.other [=invalid.character 1=constant.integer "
                      "]=invalid.character #=invalid.character \\=invalid.character"},
        {"#include a.b.inc c", "#include=keyword.include  =meta.include a.b.inc=string.include "
                               "c=variable.other"},
        {"#include\ta", "#=invalid.character include=variable.other a=variable.other"},
        {"a = 1; b", "a=variable.other ==keyword.assignment 1=constant.integer "
                     ";=punctuation.statement b=variable.other"},
        // Comments.
        {"a // b */ c", "a=variable.other // b */=comment.double-slash c=variable.other"},
        {"a /* b */ c", "a=variable.other /* b */=comment.block c=variable.other"},
        {"a /* b\n// c\nd */ e\n// f\ng",
         "a=variable.other /* b=comment.block // c=comment.block d */=comment.block "
         "e=variable.other // f=comment.double-slash g=variable.other"},
    };
    for (auto const & now : cases) {
        Grammar automat = grammar();
        std::vector<Grammar::Token> tokens;
        std::wistringstream lines(wide(now.line));
        for (std::wstring line; std::getline(lines, line);)
            for (Grammar::Token const & token : automat.tokenize(line))
                tokens.push_back(token);
        EXPECT_EQ(shown(tokens), now.tokens) << now.line;
    }
}

TEST(VsCode, ScriptsOfTheExamplesHaveNothingInvalid) {
    Grammar automat = grammar();
    int scripts = 0;
    for (fs::path const & path : fs::recursive_directory_iterator(ONDREL_SOURCE_DIR "/examples")) {
        if (path.extension() != ".aut" && path.extension() != ".inc")
            continue;
        ++scripts;
        std::istringstream lines(content(path));
        for (std::string line; std::getline(lines, line);)
            for (Grammar::Token const & token : automat.tokenize(wide(line)))
                EXPECT_NE(token.scope.substr(0, 7), "invalid") << path << ": " << line;
    }
    EXPECT_GE(scripts, 3);
}

TEST(VsCode, TheExtensionIsOfTheLibrarysVersionAndWhole) {
    Json const package = parsed("package.json");
    EXPECT_EQ(package.at("version"), ONDREL_VERSION);
    Json const & gives = package.at("contributes");
    Json const & language = gives.at("languages").at(0);
    EXPECT_EQ(language.at("extensions"), (Json{".aut", ".inc"}));
    Json const & colours = gives.at("grammars").at(0);
    for (Json const & part : {colours, gives.at("snippets").at(0)})
        EXPECT_EQ(part.at("language"), language.at("id"));
    EXPECT_EQ(parsed(colours.at("path").get<std::string>()).at("scopeName"),
              colours.at("scopeName"));
    EXPECT_FALSE(parsed(gives.at("snippets").at(0).at("path").get<std::string>()).empty());

    Json const settings = parsed(language.at("configuration").get<std::string>());
    auto const matches = [](Json const & pattern, std::string const & text) {
        return std::regex_match(text, std::regex(pattern.get<std::string>()));
    };
    EXPECT_TRUE(matches(settings.at("wordPattern"), "scene.door.Open"));
    EXPECT_FALSE(matches(settings.at("wordPattern"), "a b"));
    for (char const * what : {"indentationRules", "folding"})
        EXPECT_TRUE(settings.contains(what)) << what;
    EXPECT_TRUE(matches(settings.at("indentationRules").at("increaseIndentPattern"), "  {"));
    EXPECT_TRUE(matches(settings.at("indentationRules").at("decreaseIndentPattern"), "  }"));
}

TEST(VsCode, SnippetsAreOfTheLanguage) {
    TemporaryDirectory directory;
    std::set<std::string> prefixes;
    Json const snippets = parsed("snippets/automat.json");
    for (auto const & [name, snippet] : snippets.items()) {
        EXPECT_TRUE(prefixes.insert(snippet.at("prefix")).second) << name;
        std::string text = expanded(snippet.at("body"));
        // All but declarations and what holds methods stands in a method.
        if (text.find("Method") == std::string::npos && text.find(":=") == std::string::npos)
            text = "State S\n{\nMethod M\n{\n" + text + "}\n}\n";
        std::string const path = directory.put("snippet.aut", text);
        testing::internal::CaptureStderr();
        Tavlin::TObjectCreator<Tavlin::D_Automat> creator;
        Tavlin::TRef<Tavlin::D_Automat> const automat(creator);
        EXPECT_TRUE(automat->load(path.c_str())) << name;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << name << ":\n" << text;
    }
    EXPECT_TRUE(prefixes.count("State") && prefixes.count("doAfter"));
}

TEST(VsCode, TheProblemMatcherTakesTheLintersLinesApart) {
    TemporaryDirectory directory;
    directory.put("a b.aut", "State S\n{\nMethod Step\n{\na = b -1\nMove(1 2)\n}\n}\n");
    Outcome const run = runProgram(directory, {"lint", "a b.aut"});
    Json const matcher = parsed("package.json").at("contributes").at("problemMatchers").at(0);
    Json const & pattern = matcher.at("pattern");
    std::regex const regexp(pattern.at("regexp").get<std::string>());
    struct Problem {
        std::string file, line, column, severity;
        auto operator<=>(Problem const &) const = default;
    };
    std::vector<Problem> problems;
    std::istringstream lines(run.out + run.err);
    for (std::string line; std::getline(lines, line);) {
        std::smatch found;
        if (!std::regex_match(line, found, regexp))
            continue;
        auto const part = [&](char const * what) { return found.str(pattern.at(what).get<int>()); };
        problems.push_back({part("file"), part("line"), part("column"), part("severity")});
        EXPECT_EQ(part("message").find('['), std::string::npos) << line;
        EXPECT_EQ(line.substr(line.size() - part("code").size() - 2), '[' + part("code") + ']');
    }
    std::vector<Problem> const expected{{"a b.aut", "5", "7", "error"},
                                        {"a b.aut", "6", "6", "warning"}};
    ASSERT_GE(problems.size(), 2u) << run.out << run.err;
    for (Problem const & problem : expected)
        EXPECT_EQ(std::count(problems.begin(), problems.end(), problem), 1)
            << problem.line << run.out;

    // The task that the README shows.
    std::string const readme = content(folder / "README.md");
    std::size_t const begin = readme.find("```json\n{\n") + 8;
    Json const tasks = Json::parse(readme.substr(begin, readme.find("```", begin) - begin));
    EXPECT_EQ(tasks.at("tasks").at(0).at("problemMatcher"),
              '$' + matcher.at("name").get<std::string>());
    EXPECT_EQ(tasks.at("tasks").at(0).at("args").at(0), "lint");
}
