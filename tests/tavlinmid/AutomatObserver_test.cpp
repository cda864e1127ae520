// Where things of a script stand, as whoever looks on is told: through includes, every way of
// ending a line, and comments. Places are counted by hand.
#include "ScriptTest.h"

#include "tavlinmid/AutomatLexer.h"
#include "tavlinmid/AutomatParser.h"

namespace Tavlin {

namespace {

/// One line for each thing that is told.
class Notes : public AutomatObserver {
  public:
    void onFile(File result, int file, char const * path, AutomatSpan const & span) override {
        std::string const name = std::string(path).substr(std::string(path).find_last_of('\\') + 1);
        note(result == File::Opened    ? "open " + std::to_string(file)
             : result == File::Missing ? "missing"
                                       : "refused",
             name, span);
    }
    void onToken(AutomatToken, std::string const & text, AutomatSpan const & span) override {
        if (tokens)
            note("token", text == "\n" ? "LF" : text, span);
    }
    void onDropped(char c, AutomatPlace const & place) override {
        note("dropped", std::string(1, c), {place, place});
    }
    void onComment(Comment how, AutomatSpan const & span) override {
        char const * const names[] = {"taken", "delivered", "closed", "unclosed"};
        note("comment", names[static_cast<int>(how)], span);
    }
    void onError(AutomatError error, AutomatSpan const & span) override {
        char const * const names[] = {"syntax",        "outside", "no state", "deep if",
                                      "deep operator", "deep",    "at end"};
        note("error", names[static_cast<int>(error)], span);
    }
    void onState(std::string const & name, AutomatSpan const & span) override {
        note("state", name, span);
    }
    void onMethod(std::string const & name, bool isGlobal, AutomatSpan const & span) override {
        note(isGlobal ? "global" : "method", name, span);
    }
    void onOpenBrace(AutomatSpan const & span) override { note("open", "{", span); }
    void onCloseBrace(AutomatSpan const & span) override { note("close", "}", span); }
    void onCondition(AutomatSpan const & span) override { note("condition", "", span); }
    void onStatement(AutomatSpan const & span) override { note("statement", "", span); }
    void onGoto(std::string const & name, AutomatSpan const & span) override {
        note("goto", name, span);
    }
    void onDeclaration(std::string const & name, AutomatSpan const & span) override {
        note("declare", name, span);
    }
    void onVariable(std::string const & name, bool isAssigned, AutomatSpan const & span) override {
        note(isAssigned ? "assign" : "read", name, span);
    }
    void onCall(std::string const & name, long foreign, AutomatSpan const & span) override {
        note("call +" + std::to_string(foreign), name, span);
    }

    bool tokens = false;
    std::vector<std::string> lines;

  private:
    static std::string shown(AutomatPlace const & place) {
        std::string const text = std::to_string(place.line) + ':' + std::to_string(place.column);
        return place.file > 0 ? std::to_string(place.file) + '/' + text : text;
    }
    void note(std::string const & what, std::string const & name, AutomatSpan const & span) {
        std::string line = what + ' ' + name;
        if (span.begin.file >= 0)
            line += " " + shown(span.begin) + '-' + shown(span.end);
        lines.push_back(line);
    }
};

} // namespace

class AutomatObserverTest : public ScriptTest {
  protected:
    // Includes are looked for in the current folder.
    AutomatObserverTest() {
        std::filesystem::current_path(
            std::filesystem::path(fileOf("", "script.aut")).parent_path());
    }
    ~AutomatObserverTest() override { std::filesystem::current_path(before_); }

    std::vector<std::string> observe(std::string const & text, bool tokens = false) {
        std::string const path = fileOf(text, "script.aut");
        Notes notes;
        notes.tokens = tokens;
        TObjectCreator<D_Automat> creator;
        TRef<D_Automat> const definition(creator);
        testing::internal::CaptureStderr();
        definition->load(path.c_str(), &notes);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_EQ(notes.lines.at(0), "open 0 script.aut");
        notes.lines.erase(notes.lines.begin());
        return notes.lines;
    }
    using Lines = std::vector<std::string>;

  private:
    std::filesystem::path const before_ = std::filesystem::current_path();
};

TEST_F(AutomatObserverTest, TokensStandWhereTheirBytesDo) {
    EXPECT_EQ(observe("a  = 1 -2 ;\r\n\tif  (\"x\"@)\n", true),
              (Lines{"token a 1:1-1:1", "token = 1:4-1:4", "token 1 -2 1:6-1:9",
                     "token LF 1:11-1:11", "assign a 1:1-1:1",
                     "token LF 1:12-1:12", // with its carriage return
                     "statement  1:1-1:9", "error outside 1:1-1:9", "token if  ( 2:2-2:6",
                     "token \"x\" 2:7-2:9", "dropped @ 2:10-2:10", "token ) 2:11-2:11",
                     "token LF 2:12-2:12", "statement  2:2-2:11", "error outside 2:2-2:11",
                     "condition  2:2-2:11", "token LF 3:1-3:1", // of the end of the file
                     "token  3:1-3:1"}));
}

TEST_F(AutomatObserverTest, ConstructsAreToldWithTheirPlaces) {
    EXPECT_EQ(observe("n := 2\nState A\n{\nMethod M\n{\nif (n == 1)\n{\ngoto B\n}\nn = f(1, g(n))\n"
                      "}\n}\nMethod G\n{\n}\n"),
              (Lines{"declare n 1:1-1:1",   "state A 2:7-2:7",       "open { 3:1-3:1",
                     "method M 4:8-4:8",    "open { 5:1-5:1",        "read n 6:5-6:5",
                     "statement  6:1-6:11", "condition  6:1-6:11",   "open { 7:1-7:1",
                     "statement  8:1-8:6",  "goto B 8:6-8:6",        "close } 9:1-9:1",
                     "read n 10:12-10:12",  "call +1 g 10:10-10:11", "call +0 f 10:5-10:6",
                     "assign n 10:1-10:1",  "statement  10:1-10:14", "close } 11:1-11:1",
                     "close } 12:1-12:1",   "global G 13:8-13:8",    "open { 14:1-14:1",
                     "close } 15:1-15:1"}));
}

TEST_F(AutomatObserverTest, CommentsTellWhatBecameOfTheirLineEnd) {
    EXPECT_EQ(observe("// a\n/* b\n*/ // c *\n// d */\n/* e"),
              (Lines{"comment taken 1:1-1:5", "comment closed 2:1-3:2", "comment delivered 3:4-3:9",
                     "comment closed 4:1-4:7", "comment unclosed 5:1-5:5"}));
}

TEST_F(AutomatObserverTest, IncludesAndErrorsAreToldInsteadOfPrinted) {
    fileOf("x := 1\n#include more.inc\n?", "more.inc");
    EXPECT_EQ(
        observe("#include more.inc\n#include absent.inc\ny = 1\n(\n) a // b"),
        (Lines{"open 1 more.inc 1:1-1:17", "declare x 1/1:1-1/1:1", "refused more.inc 1/2:1-1/2:17",
               "dropped ? 1/3:1-1/3:1", "missing absent.inc 2:1-2:19", "assign y 3:1-3:1",
               "statement  3:1-3:5", "error outside 3:1-3:5", "error syntax 4:2-4:2",
               "error syntax 5:1-5:1", "comment taken 5:5-5:9", "error at end 5:9-5:9"}));
}

} // namespace Tavlin
