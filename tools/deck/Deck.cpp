#include "tools/deck/Deck.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace deck {

namespace {

constexpr std::int64_t kMsPerDay = 86400000;
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
bool hasSensorPosition(int type) { return type == 8 || type == 9; }
bool hasRange(int type) { return (type >= 2 && type <= 4) || type == 6; }
bool hasRangeRate(int type) { return type == 0 || type == 3 || type == 4; }

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
    look.elevation = hasRightAscension(look.type) ? random.between(-850000, 850000)
                                                  : random.between(-50000, 850000);
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

void digits(char* at, int width, int value) {
    for (int i = width - 1; i >= 0; --i, value /= 10) at[i] = static_cast<char>('0' + value % 10);
}

/// A negative number begins with J to R for 1 to 9, and with "-" in place of a leading zero.
void signedDigits(char* at, int width, int value) {
    digits(at, width, std::abs(value));
    if (value < 0) at[0] = at[0] == '0' ? '-' : static_cast<char>('J' + (at[0] - '1'));
}

void satellite(char* at, int number) {
    at[0] = "0123456789ABCDEFGHJKLMNPQRSTUVWXYZ"[number / 10000];
    digits(at + 1, 4, number % 10000);
}

/// YYDDDHHMMSS, the eleven columns that both cards share.
void dateToSeconds(char* at, int year, std::int64_t msOfYear) {
    digits(at, 2, year % 100);
    digits(at + 2, 3, static_cast<int>(msOfYear / kMsPerDay) + 1);
    digits(at + 5, 2, static_cast<int>(msOfYear / 3600000 % 24));
    digits(at + 7, 2, static_cast<int>(msOfYear / 60000 % 60));
    digits(at + 9, 2, static_cast<int>(msOfYear / 1000 % 60));
}

void hoursAndMinutes(char* at, int rightAscension) {
    digits(at, 2, rightAscension / 36000);
    digits(at + 2, 2, rightAscension / 600 % 60);
}

void tail(char* columns, const Look& look) {
    columns[74] = static_cast<char>('0' + look.type);
    if (look.equinox != 0) columns[75] = static_cast<char>('0' + look.equinox);
    columns[76] = columns[79] = static_cast<char>('0' + look.indicator);
    satellite(columns + 80, look.sat);
    satellite(columns + 85, look.sat);
}

std::string b3Card(const Look& look, int year) {
    std::string text(90, ' ');
    char* const c = text.data();
    c[0] = 'U';
    satellite(c + 1, look.sat);
    digits(c + 6, 3, look.sen);
    dateToSeconds(c + 9, year, look.msOfYear);
    digits(c + 20, 3, static_cast<int>(look.msOfYear % 1000));
    if (look.type != 0 && look.type != 6) {
        signedDigits(c + 23, 6, look.elevation);
        if (hasRightAscension(look.type)) {
            hoursAndMinutes(c + 30, look.rightAscension);
            digits(c + 34, 3, look.rightAscension % 600);
        } else {
            digits(c + 30, 7, look.azimuth);
        }
    }
    if (hasRange(look.type) || (hasSensorPosition(look.type) && look.withRange)) {
        digits(c + 38, 7, look.mantissa);
        digits(c + 45, 1, look.exponent);
    }
    if (hasRangeRate(look.type)) signedDigits(c + 47, 7, look.rangeRate);
    if (look.type == 4)
        for (std::size_t i = 0; i < 3; ++i) signedDigits(c + 55 + 6 * i, 5, look.rates[i]);
    if (hasSensorPosition(look.type))
        for (std::size_t i = 0; i < 3; ++i) {
            c[46 + 9 * i] = look.senPos[i] < 0 ? '-' : '+';
            digits(c + 47 + 9 * i, 8, std::abs(look.senPos[i]));
        }
    tail(c, look);
    return text;
}

std::string b3eCard(const Look& look, int year) {
    std::string text(90, ' ');
    char* const c = text.data();
    const int micros = static_cast<int>(look.fine % 1000);
    const int moreDegrees = static_cast<int>(look.fine / 1000 % 100);
    const int moreSeconds = static_cast<int>(look.fine / 100000 % 10000);
    const int dec = std::abs(look.elevation) * 100 + moreDegrees;
    std::copy_n("B3E", 3, c);
    satellite(c + 3, look.sat);
    digits(c + 8, 3, look.sen);
    dateToSeconds(c + 11, year, look.msOfYear);
    c[22] = '.';
    digits(c + 23, 3, static_cast<int>(look.msOfYear % 1000));
    digits(c + 26, 3, micros);
    if (look.elevation < 0) c[30] = '-';
    digits(c + 31, 2, dec / 1000000);
    c[33] = '.';
    digits(c + 34, 6, dec % 1000000);
    hoursAndMinutes(c + 41, look.rightAscension);
    digits(c + 45, 2, look.rightAscension % 600 / 10);
    c[47] = '.';
    digits(c + 48, 1, look.rightAscension % 10);
    digits(c + 49, 4, moreSeconds);
    c[53] = '0';
    tail(c, look);
    return text;
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
    while (looks.size() < options.n) {
        const Sensor sensor = sensors[random.skewedBelow(sensors.size())];
        Look look = firstLook(random, options, sensor, satellites[random.skewedBelow(satellites.size())]);
        for (int left = random.between(3, 12);
             left > 0 && looks.size() < options.n && look.msOfYear < kMsPerYear; --left) {
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

std::string card(const Look& look, int year) { return look.asB3e ? b3eCard(look, year) : b3Card(look, year); }

void damage(std::string& card, Random& random) {
    if (random.chance(0.5)) card[33] = 'X';
    else card.replace(card.starts_with("B3E") ? 13 : 11, 3, "999");
}

void writeDeck(const Options& options, std::FILE* file) {
    Random random{options.seed + 0x5EED};
    for (const Look& look : makeLooks(options)) {
        std::string line = card(look, options.year);
        if (random.chance(options.damaged)) damage(line, random);
        line += '\n';
        std::fwrite(line.data(), 1, line.size(), file);
    }
}

}  // namespace deck
