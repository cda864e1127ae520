// Step 3: values, and a table by which others reach an object's members by name.
#include "ondrel.h"

#include <algorithm>
#include <cstdio>

using namespace Tavlin;

class Lamp : public UniqueObject, public IDispatcherImpl {
    G_DECLARE_CREATABLE(Lamp)
    TAVLIN_DECLARE_DISPATCHER(Lamp)
  public:
    // An Object that is an interface as well has these three twice, and says which it means.
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }

    /// Gives 1, or 0 when there is no oil.
    void light(VariableRef * result, VRefVector *) {
        lit_ = oil_ > 0;
        if (result) // null for a caller who does not want it
            *result = static_cast<int>(lit_);
    }
    void getOil(VariableRef * result) { *result = oil_; }
    /// From 0 to 10; what is no number is not taken.
    void setOil(VariableRef const & value) {
        if (value.type() == FLOAT)
            oil_ = std::clamp(value.asFLOAT(), 0.0f, 10.0f);
    }
    char const * colour() const { return colour_.asCHARPTR(); }

  private:
    float oil_ = 0;
    bool lit_ = false;
    VariableVar colour_{"white"};
};

G_DEFINE_CREATABLE(Lamp, "Guide::Lamp", UniqueObject, IDispatcherImpl)

TAVLIN_BEGIN_DISPATCHER(Lamp, IDispatcherImpl)
    TAVLIN_METHOD("Light", light, INT)
    TAVLIN_PROPERTY_GET("Oil", getOil, FLOAT)
    TAVLIN_PROPERTY_SET("Oil", setOil, FLOAT)
    TAVLIN_VARIABLE("Colour", colour_, CHARPTR)
TAVLIN_END_DISPATCHER()

int main() {
    TObjectCreator<Lamp> creator;
    TRef<Lamp> const lamp(creator);
    TRef<Object> const object(lamp);

    VariableRef lit;
    IDispatcher::CallMethod("Light", &lit, nullptr, object, nullptr);
    std::printf("lit without oil: %d\n", lit.asINT());

    IDispatcher::SetVRef(25.0f, "Oil", object, nullptr);
    VariableRef const oil = IDispatcher::FindVRef("Oil", object, nullptr);
    IDispatcher::CallMethod("Light", &lit, nullptr, object, nullptr);
    std::printf("lit with %.1f of oil: %d\n", oil.asFLOAT(), lit.asINT());

    VariableRef alias = IDispatcher::FindVRef("Colour", object, nullptr); // the lamp's own cell
    VariableVar before;
    before = alias; // a value of its own
    alias = "red";
    std::printf("the lamp was %s and is %s\n", before.asCHARPTR(), lamp->colour());

    // The answer tells whether there is such a name, and nothing about the value.
    bool const hasColour = IDispatcher::SetVRef(7, "Colour", object, nullptr);
    std::printf("a number for its colour: %s, it stays %s\n", hasColour ? "true" : "false",
                lamp->colour());
    bool const canWhistle = IDispatcher::CallMethod("Whistle", nullptr, nullptr, object, nullptr);
    std::printf("whistle: %s\n", canWhistle ? "true" : "false");
    return 0;
}
