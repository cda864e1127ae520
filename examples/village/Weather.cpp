// The weather.
#include "Weather.h"

using namespace Tavlin;

namespace Village {

G_DEFINE_CREATABLE(Weather, "Village::Weather", Process, IDispatcherImpl)

TAVLIN_BEGIN_DISPATCHER(Weather, IDispatcherImpl)
    TAVLIN_METHOD("Rains", askRain, INT)
TAVLIN_END_DISPATCHER()

void Weather::start(float every, float likelyRain) {
    likelyRain_ = likelyRain;
    init(GameSeconds, every);
}

void Weather::askRain(VariableRef * result, VRefVector *) {
    if (result)
        *result = static_cast<int>(rain_);
}

void Weather::step(float) {
    bool const before = rain_;
    rain_ = Time::Random(0, 1) < likelyRain_;
    showers_ += rain_ && !before;
}

void Weather::write(opstream & out) {
    out.writeByte(0);
    Process::write(out);
    out << likelyRain_ << static_cast<int>(rain_) << showers_;
}

void Weather::read(ipstream & in) {
    in.readByte();
    Process::read(in);
    int rain = 0;
    in >> likelyRain_ >> rain >> showers_;
    rain_ = rain != 0;
}

} // namespace Village
