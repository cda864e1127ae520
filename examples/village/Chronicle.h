// The player's record, which outlives each world: how many runs there were, and the best one.
#pragma once

#include "ondrel.h"

namespace Village {

class Chronicle : public Tavlin::PlayerDBResource {
    G_DECLARE_CREATABLE(Chronicle)
  public:
    Chronicle() { set_name("chronicle"); }
    explicit Chronicle(StreamableInit init) : PlayerDBResource(init) {}

    GString get_type() const override { return "Chronicle"; }
    void read(ipstream & in) override;
    void write(opstream & out) override;

    /// Adds a run to the record in a file, which is made at need, and tells the new record. False
    /// when it could not be kept.
    static bool AddRun(char const * file, int meals, Chronicle & record);

    int runs = 0;
    int mostMeals = 0;
};

} // namespace Village
