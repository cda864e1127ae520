// Paths as windows on shared components, against a plain list of strings; and their two forms.
#include "persistence/GResourcePath.h"
#include "pstream_support.h"

#include <deque>
#include <random>
#include <vector>

using namespace pstream_tests;

namespace {

using Model = std::vector<std::string>;

GResourcePath pathOf(Model const & components) {
    GResourcePath path;
    for (std::string const & component : components)
        path += GString(component.c_str());
    return path;
}

Model componentsOf(GResourcePath const & path) {
    Model components;
    for (int i = 0; i < path.getCount(); ++i)
        components.emplace_back(path[i].c_str());
    return components;
}

GResourcePath parsed(char const * text) {
    GResourcePath path;
    path.parse_readable_form(text);
    return path;
}

TEST(GResourcePath, WindowsOnSharedComponentsNeverChangeEachOther) {
    std::mt19937 random(1);
    std::vector<GResourcePath> paths(6);
    std::vector<Model> models(6);
    auto const any = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    for (int step = 0; step < 20000; ++step) {
        auto const i = static_cast<std::size_t>(any(6)), j = static_cast<std::size_t>(any(6));
        GResourcePath & path = paths[i];
        Model & model = models[i];
        switch (any(8)) {
            case 0:
            case 1: {
                std::string const name = std::to_string(any(100));
                path += GString(name.c_str());
                model.push_back(name);
                break;
            }
            case 2:
                path = paths[j];
                model = Model(models[j]);
                break;
            case 3:
                path.parent();
                if (!model.empty())
                    model.pop_back();
                break;
            case 4: {
                int const start = any(5) - 1, length = any(6) - 1;
                path = paths[j].subpath(start, length);
                Model taken;
                for (int k = std::max(start, 0);
                     k < static_cast<int>(models[j].size()) && k - std::max(start, 0) < length; ++k)
                    taken.push_back(models[j][static_cast<std::size_t>(k)]);
                model = taken;
                break;
            }
            case 5:
                if (model.size() + models[j].size() < 40) {
                    Model const added = models[j];
                    path += paths[j];
                    model.insert(model.end(), added.begin(), added.end());
                }
                break;
            case 6:
                if (any(4) == 0) {
                    path.empty();
                    model.clear();
                }
                break;
            default:
                if (!model.empty()) {
                    path += path[0]; // which may move meanwhile
                    model.push_back(std::string(model[0]));
                }
        }
        ASSERT_EQ(componentsOf(path), model) << step;
        ASSERT_EQ(path == paths[j], model == models[j]);
    }
    for (std::size_t i = 0; i < paths.size(); ++i)
        EXPECT_EQ(componentsOf(paths[i]), models[i]);
}

TEST(GResourcePath, RelationsOfPaths) {
    GResourcePath const path = pathOf({"a", "b", "c"});
    EXPECT_EQ(path.find_difference(pathOf({"a", "b", "d", "e"})), 2);
    EXPECT_EQ(path.find_difference(path.subpath(0, 2)), 2);
    EXPECT_EQ(path.find_difference(path.subpath(1)), 0);
    EXPECT_FALSE(path == pathOf({"a", "b"}));
    EXPECT_FALSE(path == pathOf({"a", "b", "C"}));

    EXPECT_TRUE(path.is_subdirectory(pathOf({"a", "b"}), false));
    EXPECT_TRUE(path.is_subdirectory(GResourcePath(), false));
    EXPECT_FALSE(path.is_subdirectory(path, false));
    EXPECT_TRUE(path.is_subdirectory(path, true));
    EXPECT_FALSE(pathOf({"a"}).is_subdirectory(path, true));
    EXPECT_FALSE(path.is_subdirectory(pathOf({"a", "x"}), true));
}

TEST(GResourcePath, RenamingPutsAnotherPathInFront) {
    GResourcePath path = pathOf({"a", "b", "c"});
    EXPECT_FALSE(path.rename_path_from_root(pathOf({"b"}), pathOf({"x"})));
    EXPECT_EQ(componentsOf(path), (Model{"a", "b", "c"}));
    EXPECT_TRUE(path.rename_path_from_root(pathOf({"a", "b"}), pathOf({"x"})));
    EXPECT_EQ(componentsOf(path), (Model{"x", "c"}));
    EXPECT_TRUE(path.rename_path_from_root(GResourcePath(pathOf({"x"})), GResourcePath()));
    EXPECT_EQ(componentsOf(path), (Model{"c"}));
    EXPECT_TRUE(path.rename_path_from_root(path, path));
    EXPECT_EQ(componentsOf(path), (Model{"c"}));
}

TEST(GResourcePath, ReadableForms) {
    EXPECT_STREQ(pathOf({"a", "b"}).get_readable_form().c_str(), "a\\b\\");
    EXPECT_STREQ(GResourcePath().get_readable_form().c_str(), "");
    EXPECT_EQ(componentsOf(parsed("a\\b\\")), (Model{"a", "b"}));
    EXPECT_EQ(componentsOf(parsed("a\\b")), (Model{"a", "b"}));
    EXPECT_EQ(componentsOf(parsed("\\a\\\\")), (Model{"", "a", ""}));
    EXPECT_EQ(componentsOf(parsed("")), Model());

    GResourceFullName name(pathOf({"old"}), "n", "t");
    EXPECT_STREQ(name.get_readable_form().c_str(), "old\\n,t");
    name.parse_readable_form("a\\b,c");
    EXPECT_TRUE(name == GResourceFullName(pathOf({"a"}), "b", "c"));
    name.parse_readable_form("a\\b\\");
    EXPECT_TRUE(name == GResourceFullName(pathOf({"a", "b"}), "b", "c")) << "no comma: a path";
    EXPECT_FALSE(name == GResourceFullName(pathOf({"a"}), "b", "c"));
    EXPECT_FALSE(name.is_empty());
    name.empty();
    EXPECT_TRUE(name.is_empty());
}

TEST_F(PStream, ResourceNamesHaveTheirBytes) {
    Memory memory;
    GResourceFullName const name(pathOf({"a", "bc"}), "name", "T");
    *memory << name;
    EXPECT_EQ(digits(memory.bytes()),
              digits(hex("00  00 02 00  01 00 61  02 00 62 63  04 00 6E 61 6D 65  01 00 54")));
    memory->seekg(0);
    GResourceFullName back;
    *memory >> back;
    EXPECT_TRUE(back == name);
    EXPECT_TRUE(memory->good());

    Memory liar(hex("00  00 FF FF  01 00 61"));
    *liar >> back;
    EXPECT_EQ(componentsOf(back.path()), (Model{"a", "bc", "a"})) << "appended, up to the end";
}

} // namespace
