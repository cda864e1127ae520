// Keeps documents true: what they quote must stand in the file that they name, what they say a
// program prints must be what it prints, and a test that they name must exist.
//
// A block of code quotes a file when the last line above it is the file's path between backquotes
// and a colon. It tells the output of a program when that line is the program's name between
// backquotes and " prints:". A test is named by its suite and its name with a point between them,
// all of it between backquotes.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#ifdef _WIN32
#define popen _popen
#define pclose _pclose
#endif

namespace {

struct Block {
    int line = 0;         // of its first line in the document, from 1
    std::string language; // what stands behind the opening fence
    std::string caption;  // the last line above that is not empty
    std::string text;     // each line with its line end
};

std::string readFile(std::string const & path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::vector<Block> blocksOf(std::string const & document) {
    std::vector<Block> blocks;
    std::istringstream lines(document);
    std::string line, caption;
    bool inside = false;
    for (int number = 1; std::getline(lines, line); ++number) {
        if (line.compare(0, 3, "```") == 0) {
            inside = !inside;
            if (inside)
                blocks.push_back({number + 1, line.substr(3), caption, ""});
        } else if (inside) {
            blocks.back().text += line + "\n";
        } else if (!line.empty()) {
            caption = line;
        }
    }
    return blocks;
}

bool endsWith(std::string const & text, std::string const & end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// What stands between backquotes when they and `end` are all of `caption`; else empty.
std::string quotedBefore(std::string const & caption, std::string const & end) {
    if (caption.empty() || caption[0] != '`' || !endsWith(caption, "`" + end))
        return "";
    std::size_t const length = caption.size() - end.size() - 1;
    return length == 0 ? "" : caption.substr(1, length - 1);
}

/// Whole lines only: a quotation must not begin or end within one.
bool hasLines(std::string const & file, std::string const & lines) {
    return !lines.empty() && ("\n" + file).find("\n" + lines) != std::string::npos;
}

int checkQuotations(std::string const & root, std::string const & path, bool allNamed) {
    int quotations = 0, faults = 0;
    for (Block const & block : blocksOf(readFile(path))) {
        std::string const named = quotedBefore(block.caption, ":");
        bool const isSource = block.language == "cpp" || block.language == "automat";
        if (named.empty()) {
            if (allNamed && isSource) {
                std::fprintf(stderr, "%s:%d: code without its file\n", path.c_str(), block.line);
                ++faults;
            }
            continue;
        }
        ++quotations;
        if (hasLines(readFile(root + "/" + named), block.text))
            continue;
        std::fprintf(stderr, "%s:%d: this does not stand in %s\n", path.c_str(), block.line,
                     named.c_str());
        ++faults;
    }
    if (quotations == 0)
        std::fprintf(stderr, "%s: quotes nothing\n", path.c_str());
    return faults > 0 || quotations == 0;
}

std::string outputOf(std::string const & program, bool & well) {
    std::string output;
    std::fflush(nullptr);
    std::FILE * const pipe = popen(("\"" + program + "\"").c_str(), "r");
    if (!pipe)
        return output;
    char part[4096];
    for (std::size_t n; (n = std::fread(part, 1, sizeof part, pipe)) > 0;)
        output.append(part, n);
    well = pclose(pipe) == 0;
    return output;
}

int checkOutput(std::string const & document, std::string const & name,
                std::string const & program) {
    std::string expected;
    for (Block const & block : blocksOf(readFile(document)))
        if (quotedBefore(block.caption, " prints:") == name)
            expected = block.text;
    bool well = false;
    std::string const output = outputOf(program, well);
    if (well && !expected.empty() && output == expected)
        return 0;
    std::fprintf(stderr, "%s, by %s:\n%s%s:\n%s", name.c_str(), document.c_str(), expected.c_str(),
                 well ? "it prints" : "it fails and prints", output.c_str());
    return 1;
}

std::string sourcesBelow(std::string const & folder) {
    std::string sources;
    for (auto const & entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.path().extension() == ".cpp")
            sources += readFile(entry.path().string());
    return sources;
}

int checkTests(std::string const & folder, std::string const & path) {
    std::string const sources = sourcesBelow(folder);
    std::string const document = readFile(path);
    std::regex const name("`([A-Za-z_0-9]+)\\.([A-Z][A-Za-z0-9]+)`");
    int tests = 0, missing = 0;
    for (std::sregex_iterator i(document.begin(), document.end(), name), end; i != end; ++i) {
        ++tests;
        std::string const suite = (*i)[1], test = (*i)[2];
        if (sources.find("(" + suite + ", " + test + ")") != std::string::npos)
            continue;
        std::fprintf(stderr, "%s: there is no test %s.%s\n", path.c_str(), suite.c_str(),
                     test.c_str());
        ++missing;
    }
    if (tests == 0)
        std::fprintf(stderr, "%s: names no tests\n", path.c_str());
    return missing > 0 || tests == 0;
}

} // namespace

int main(int argc, char ** argv) {
    if (argc == 4 && std::strcmp(argv[1], "quotations") == 0)
        return checkQuotations(argv[2], argv[3], false);
    if (argc == 4 && std::strcmp(argv[1], "all-quotations") == 0)
        return checkQuotations(argv[2], argv[3], true);
    if (argc == 4 && std::strcmp(argv[1], "tests") == 0)
        return checkTests(argv[2], argv[3]);
    if (argc == 5 && std::strcmp(argv[1], "output") == 0)
        return checkOutput(argv[2], argv[3], argv[4]);
    std::fputs("check_guide quotations|all-quotations ROOT DOCUMENT\n"
               "check_guide output DOCUMENT NAME PROGRAM\n"
               "check_guide tests FOLDER DOCUMENT\n",
               stderr);
    return 2;
}
