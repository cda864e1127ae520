// Tells on the terminal what happens: the changes of the first villagers one by one, a bar, and a
// table at the end.
#pragma once

#include "Settings.h"
#include "World.h"

#include <map>
#include <string>

namespace Village {

class Reporter {
  public:
    Reporter(Settings const & settings, long frames);

    void afterFrame(World & world, long number);
    void tell(char const * format, ...) __attribute__((format(printf, 2, 3)));
    /// Returns how many meals there were in all.
    int summary(World & world, long frames);

  private:
    void follow(Inhabitant & who, bool aloud);
    void showBar(long number);
    void clearBar();

    bool quiet_, terminal_;
    bool barShown_ = false;
    long frames_;
    long changes_ = 0;
    char const * hour_ = "night";
    std::map<std::string, long> entered_;
};

} // namespace Village
