// The houses and their library.
#include "House.h"

using namespace Tavlin;

namespace Village {

G_DEFINE_CREATABLE(House, "Village::House", UniqueObject)

namespace {

struct Plan {
    char const * resource; // path, name and type within the library
    char const * name;
    float comfort;
};
Plan const plans[] = {{"square\\inn,House", "the inn", 1.4f},
                      {"square\\mill,House", "the mill", 1.0f},
                      {"lane\\cottage,House", "the cottage", 1.2f},
                      {"lane\\barn,House", "the barn", 0.8f}};

} // namespace

void House::write(opstream & out) {
    out.writeByte(0);
    UniqueObject::write(out);
    out << name_ << comfort_;
}

void House::read(ipstream & in) {
    in.readByte();
    UniqueObject::read(in);
    in >> name_ >> comfort_;
}

void House::StockLibrary() {
    ResourceFile const library(villageLibrary, GIO::ReadMode);
    for (Plan const & plan : plans) {
        GResourceFullName name;
        name.parse_readable_form(plan.resource);
        if (library.exist(name))
            continue;
        TObjectCreator<House> creator(new House(plan.name, plan.comfort));
        TRef<Object> const house(static_cast<Object *>(creator));
        LibraryCatalogue::Get(GFile(villageLibrary))->put(house, plan.resource, IBookMark::Shared);
    }
}

int House::Kinds() {
    return sizeof plans / sizeof *plans;
}

TRef<Object> House::FromLibrary(int kind) {
    return BookMark(GFile(villageLibrary), NameLinkID(plans[kind].resource)).retrieveObject();
}

} // namespace Village
