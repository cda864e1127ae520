// Keeping the player's record.
#include "Chronicle.h"

#include <algorithm>
#include <memory>

using namespace Tavlin;

namespace Village {

G_DEFINE_CREATABLE(Chronicle, "Village::Chronicle", PlayerDBResource)

void Chronicle::write(opstream & out) {
    out.writeByte(0);
    PlayerDBResource::write(out);
    out << runs << mostMeals;
}

void Chronicle::read(ipstream & in) {
    in.readByte();
    PlayerDBResource::read(in);
    in >> runs >> mostMeals;
}

bool Chronicle::AddRun(char const * file, int meals, Chronicle & record) {
    PlayerDB records(GFile(file), GIO::ReadWriteMode);
    std::unique_ptr<PlayerDBResource> const former(
        records.get(record.get_type(), record.get_name(), false));
    if (auto const * const known = gcast<Chronicle>(former.get()))
        record = *known;
    ++record.runs;
    record.mostMeals = std::max(record.mostMeals, meals);
    return records.put(&record, false) && records.flush();
}

} // namespace Village
