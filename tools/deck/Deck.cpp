// SPDX-License-Identifier: Apache-2.0
#include "tools/deck/Deck.h"

#include <algorithm>
#include <utility>

namespace deck {

namespace {

constexpr std::int64_t kMsPerYear = 365 * kMsPerDay;
constexpr int kSensors = 400;
constexpr int kSatellites = 20000;
constexpr int kFullCircle = 3600000;  // 1e-4 degrees
constexpr int kDayOfRa = 864000;      // tenths of a second

struct Sensor {
    int number, type;
};

/// A sensor reports one type: radars, optical sites, space-based ones. Walking the percentages in
/// steps of 61 keeps the mix even among the low, much used sensors of every seed.
int typeOfSensor(int index) {
    constexpr std::array<std::pair<int, int>, 9> kPercentOfType{
        {{0, 2}, {1, 6}, {2, 26}, {3, 24}, {4, 6}, {5, 20}, {6, 2}, {8, 4}, {9, 10}}};
    int at = (index * 61 + 17) % 100;
    for (const auto& [type, percent] : kPercentOfType)
        if ((at -= percent) < 0) return type;
    return 2;
}

bool hasRightAscension(int type) { return type == 5 || type == 9; }

int wrapped(int value, int circle) { return (value % circle + circle) % circle; }

/// What a track begins with; the looks drift from here.
Look firstLook(Random& random, const Options& options, Sensor sensor, int sat) {
    Look look;
    look.sen = sensor.number;
    look.type = sensor.type;
    look.sat = sat;
    // Two draws in two statements: operands have no fixed order.
    look.msOfYear = random.between(0, 364) * kMsPerDay;
    look.msOfYear += random.between(0, int{kMsPerDay} - 1);
    const bool deepSpace = random.chance(0.3);
    look.withRange = random.chance(0.2);
    look.elevation = hasRightAscension(look.type) ? random.between(-850000, 850000) : random.between(-50000, 850000);
    look.azimuth = random.between(0, kFullCircle - 1);
    look.rightAscension = random.between(0, kDayOfRa - 1);
    look.mantissa = deepSpace ? random.between(3500000, 4500000) : random.between(1000000, 9000000);
    look.exponent = deepSpace ? 3 : look.mantissa > 2500000 ? 1 : 2;
    look.rangeRate = random.between(-750000, 750000);
    for (int& component : look.senPos) component = random.between(-7000000, 7000000);
    if (hasRightAscension(look.type) && random.chance(options.equinox)) look.equinox = random.between(1, 3);
    look.asB3e = look.type == 5 && random.chance(options.b3e);
    return look;
}

void drift(Random& random, Look& look) {
    look.msOfYear += random.between(4000, 30000);
    look.elevation = std::clamp(look.elevation + random.between(-9000, 9000), -899999, 899999);
    look.azimuth = wrapped(look.azimuth + random.between(-20000, 20000), kFullCircle);
    look.rightAscension = wrapped(look.rightAscension + random.between(-300, 300), kDayOfRa);
    look.mantissa = std::clamp(look.mantissa + random.between(-40000, 40000), 1000000, 9999999);
    look.rangeRate += random.between(-9000, 9000);
    for (int& component : look.senPos) component += random.between(-70000, 70000);
}

void shuffle(Random& random, std::vector<Look>& looks) {
    for (std::size_t i = looks.size(); i > 1; --i) std::swap(looks[i - 1], looks[random.below(i)]);
}

}  // namespace

std::vector<Look> makeLooks(const Options& options) {
    Random random{options.seed};
    std::vector<int> satellites(kSatellites);
    for (int& number : satellites)  // about one in seven needs a letter
        number = random.chance(0.15) ? random.between(100000, 339999) : random.between(5, 69999);
    std::vector<Sensor> sensors;
    for (int i = 0; i < kSensors; ++i) sensors.push_back({random.between(1, 999), typeOfSensor(i)});

    std::vector<Look> looks;
    looks.reserve(options.n);
    for (int track = 0; looks.size() < options.n; ++track) {
        const Sensor sensor = sensors[random.skewedBelow(sensors.size())];
        Look look = firstLook(random, options, sensor, satellites[random.skewedBelow(satellites.size())]);
        look.track = track;
        for (int left = random.between(3, 12); left > 0 && looks.size() < options.n && look.msOfYear < kMsPerYear;
             --left) {
            for (int& rate : look.rates) rate = random.between(-15000, 15000);
            for (int& component : look.senPos)
                if (component == 0) component = 1;  // a writer leaves a zero blank
            look.indicator = random.between(0, 9);
            look.fine = random.next();
            looks.push_back(look);
            drift(random, look);
        }
    }
    for (std::size_t i = 1; i < looks.size() && options.duplicates > 0; ++i)
        if (random.chance(options.duplicates)) looks[i] = looks[random.below(i)];
    if (options.order == Order::random) shuffle(random, looks);
    if (options.order == Order::time)
        std::stable_sort(looks.begin(), looks.end(),
                         [](const Look& a, const Look& b) { return a.msOfYear < b.msOfYear; });
    return looks;
}

void writeDeck(const Options& options, std::FILE* file) {
    Random random{options.seed + 0x5EED};
    std::fputs(header(options.form, options.year).c_str(), file);
    for (const Look& look : makeLooks(options)) {
        const Form form = formOf(look, options.form);
        std::string text = message(look, form, options.year);
        if (random.chance(options.damaged)) damage(text, form, random);
        text += '\n';
        std::fwrite(text.data(), 1, text.size(), file);
    }
}

}  // namespace deck
