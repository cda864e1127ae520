// Step 2: classes that describe themselves are made by their names.
#include "ondrel.h"

#include <cstdio>

using namespace Tavlin;

/// What sails. Nobody can make a mere vessel, so it is declared without being creatable.
class Vessel : public UniqueObject {
    G_DECLARE_CLASS(Vessel)
  public:
    virtual int crew() const = 0;
};

class Freighter : public Vessel {
    G_DECLARE_CREATABLE(Freighter)
  public:
    ~Freighter() override { std::puts("a freighter is scrapped"); }
    int crew() const override { return 12; }
};

class Rowboat : public Vessel {
    G_DECLARE_CREATABLE(Rowboat)
  public:
    ~Rowboat() override { std::puts("a rowboat is scrapped"); }
    int crew() const override { return 2; }
};

G_DEFINE_CLASS(Vessel, "Guide::Vessel", UniqueObject)
G_DEFINE_CREATABLE(Freighter, "Guide::Freighter", Vessel)
G_DEFINE_CREATABLE(Rowboat, "Guide::Rowboat", Vessel)

/// Null when there is no such class, or it is no vessel.
TRef<Vessel> launch(char const * className) {
    GMetaClass const * const found = GMetaClass::FindByName(className);
    if (!found)
        return nullptr;
    ObjectCreator creator(found);
    TRef<Object> const object(static_cast<Object *>(creator));
    return TRef<Vessel>(gcast<Vessel>(object.pointer())); // what is no vessel ends here
}

int main() {
    GClassDictionary kinds;
    Vessel::metaclass_.getDerivedClasses(kinds, true);
    for (long i = 0; i < kinds.getCount(); ++i)
        std::printf("%s can be launched\n", kinds[i]->getName());

    TRef<Vessel> const first = launch("Guide::Freighter");
    {
        TRef<Vessel> const second = launch("Guide::Rowboat");
        std::printf("%s has a crew of %d\n", first->getClassName(), first->crew());
        std::printf("%s has a crew of %d\n", second->getClassName(), second->crew());
    } // the last reference to the rowboat goes here

    TRef<Vessel> const third = launch("Guide::Submarine");
    std::printf("a submarine: %s\n", third ? "yes" : "no such class");
    return 0;
}
