// Houses stand in a library file and not in the saved world: a villager keeps a reference by name,
// and all who live in one share one object.
#pragma once

#include "Library.h"

namespace Village {

class House : public Tavlin::UniqueObject {
    G_DECLARE_CREATABLE(House)
  public:
    House() = default;
    House(char const * name, float comfort) : name_(name), comfort_(comfort) {}

    GString const & name() const { return name_; }
    /// How much faster one rests here than in the open.
    float comfort() const { return comfort_; }

    void read(ipstream & in) override;
    void write(opstream & out) override;

    /// Fills the library with the houses of the village, unless it has them already.
    static void StockLibrary();
    static int Kinds();
    /// House `kind`, from 0 to Kinds() - 1, out of the library.
    static Tavlin::TRef<Tavlin::Object> FromLibrary(int kind);

  private:
    GString name_;
    float comfort_ = 1;
};

} // namespace Village
