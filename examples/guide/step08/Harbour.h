// The harbour that steps 8 to 10 share: a lighthouse with its keeper, and a ship that comes in. It
// can be made, stepped, written, dropped and read.
#pragma once

#include "ondrel.h"

#include <vector>

namespace Guide {

/// Burns one unit of oil per second.
class Lamp : public Tavlin::AgentComponent {
    G_DECLARE_CREATABLE(Lamp)
    TAVLIN_DECLARE_DISPATCHER(Lamp)
  public:
    static Tavlin::NamedTypeInfo g_namedTypeInfo_;
    Tavlin::NamedTypeInfo const * getNamedTypeInfo() const override { return &g_namedTypeInfo_; }

    void oilLeft(Tavlin::VariableRef * result, Tavlin::VRefVector * args);
    void fill(Tavlin::VariableRef * result, Tavlin::VRefVector * args);
    float oil() const { return oil_; }
    void setOil(float oil) { oil_ = oil; }

    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    void step(float delta) override;

  private:
    float oil_ = 3;
};

/// Comes nearer by two miles per second as long as the lamp burns.
class Hull : public Tavlin::AgentComponent {
    G_DECLARE_CREATABLE(Hull)
    TAVLIN_DECLARE_CONNECTIONS(Hull)
  public:
    static Tavlin::NamedTypeInfo g_namedTypeInfo_;
    Tavlin::NamedTypeInfo const * getNamedTypeInfo() const override { return &g_namedTypeInfo_; }
    float miles() const { return miles_; }

    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    void step(float delta) override;

  private:
    Tavlin::TRef<Tavlin::Object> lamp_; // a link: not written, it is resolved again
    float miles_ = 20;
};

class Harbour : public GStreamable {
    G_DECLARE_CREATABLE(Harbour)
  public:
    Harbour() = default;
    explicit Harbour(StreamableInit init) : GStreamable(init) {}
    Harbour(Harbour const &) = delete;
    Harbour & operator=(Harbour const &) = delete;
    ~Harbour() override { drop(); }

    /// False when the keeper's script cannot be read.
    bool build(char const * script);
    /// Resolves the links and subscribes to the clock: after `build` and after `read`.
    void start();
    /// One pass of the main loop, half a second of game time.
    void pass();
    /// Releases everything.
    void drop();
    /// Where everything stands, in one line.
    void print() const;
    Lamp * lamp() const { return lamp_; }

    void read(ipstream & in) override;
    void write(opstream & out) override;

  private:
    void addAgent(char const * name, Tavlin::TRef<Tavlin::AgentComponent> const & first,
                  Tavlin::TRef<Tavlin::AgentComponent> const & second);
    void findParts();

    Tavlin::TRef<Tavlin::SceneObject> scene_;
    Tavlin::TRef<Tavlin::AgentManager2> manager_;
    std::vector<Tavlin::TRef<Tavlin::AgentShell>> agents_;
    Tavlin::TRef<Lamp> lamp_;
    Tavlin::TRef<Hull> hull_;
    Tavlin::TRef<Tavlin::Automat> keeper_;
};

} // namespace Guide
