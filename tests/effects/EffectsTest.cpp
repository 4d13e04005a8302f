#include <algorithm>
#include <any>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <string>

#include <gmock/gmock.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Picture.h>
#include <tests/support/RecordingDevice.h>

#include <ondrix/Ondrix.h>
#include <ondrix/effects/EffectCatalog.h>
#include <ondrix/effects/LookUpTable.h>

namespace ondrix::test {
namespace {

const auto defaultDevice = DeviceManager::shared().defaultDevice();

using Values = std::map<std::string, std::any>;

const effects::EffectDescription& description(std::string_view name) {
    return *std::ranges::find(effects::allEffects(), name, &effects::EffectDescription::name);
}

/// One effect with an input and an output of its own.
struct EffectRun {
    EffectRun(const std::string& name, const Picture& picture, const Values& values,
              const std::shared_ptr<Device>& device = defaultDevice)
        : input(textureOf(device, picture)),
          output(textureOf(device, Picture::noise(picture.width, picture.height, 99))),
          effect(Effect::create(device)),
          pass(description(name).make(device, *effects::makeEffectLibrary(*device), input, output)) {
        for (const auto& [property, value] : values) pass->set(property, value);
        effect->add(pass, name);
    }
    Picture result() const {
        EXPECT_TRUE(effect->applyAndWait(nullptr));
        return pictureOf(*output);
    }

    std::shared_ptr<Texture> input, output;
    std::shared_ptr<Effect> effect;
    std::shared_ptr<Pass> pass;
};

std::any texture(const Picture& picture, const std::shared_ptr<Device>& device = defaultDevice) {
    return std::shared_ptr<Texture>(textureOf(device, picture));
}

const Picture second = Picture::noise(19, 70, 8);

// What the effects are meant to do, pixel by pixel in double precision: red, green, blue and alpha, 0 to 1.
using Colour = std::array<double, 4>;

/// Beyond the edges as at the edges.
Colour pixel(const Picture& picture, Int x, Int y) {
    x = std::clamp<Int>(x, 0, picture.width - 1);
    y = std::clamp<Int>(y, 0, picture.height - 1);
    const auto at = [&](int component) { return picture.at(x, y, component) / 255.0; };
    return {at(2), at(1), at(0), at(3)};
}

double grey(const Colour& colour) {
    return 0.2126 * colour[0] + 0.7152 * colour[1] + 0.0722 * colour[2];
}

template <class Function>  // (component, index) -> component
Colour mapped(Colour colour, Function function) {
    for (std::size_t i = 0; i < 3; ++i) colour[i] = function(colour[i], i);
    return colour;
}

Colour mixed(const Colour& a, const Colour& b, double weight) {
    Colour result;
    for (std::size_t i = 0; i < 4; ++i) result[i] = std::lerp(a[i], b[i], weight);
    return result;
}

Colour adjusted(const Picture& input, Int x, Int y) {
    const Colour exposed = mapped(pixel(input, x, y), [](double c, auto) {
        return 0.5 + 1.5 * (std::pow(std::pow(c, 2.2) * std::exp2(-0.7), 1 / 2.2) - 0.5);
    });
    return mapped(exposed, [&](double c, auto) { return std::lerp(grey(exposed), c, 0.4); });
}

Colour same(const Colour& colour) {
    return colour;
}

/// Straight along each axis, so that what lies between entries of a table follows, whatever its size.
Colour twisted(const Colour& c) {
    return {c[1] * c[2], 1 - c[0], c[0] * (1 - c[1]) * c[2], c[3]};
}

std::any table(int size, Colour (*function)(const Colour&), float greatestBlue = 2) {
    effects::LookUpTable table{size, {0, -0.5f, 0}, {1, 1, greatestBlue}, {}};
    for (int i = 0; i < size * size * size; ++i) {
        Colour colour{double(i % size), double(i / size % size), double(i / size / size), 1};
        colour = function(mapped(colour, [&](double place, std::size_t axis) {
            return std::lerp(table.minimum[axis], table.maximum[axis], place / (size - 1));
        }));
        table.colours.insert(table.colours.end(), colour.begin(), colour.begin() + 3);
    }
    return std::shared_ptr<const effects::LookUpTable>(std::make_shared<effects::LookUpTable>(std::move(table)));
}

Colour lookedUp(const Picture& input, Int x, Int y) {
    Colour place = pixel(input, x, y);
    place[2] = std::min(place[2], 0.75);
    return mixed(pixel(input, x, y), twisted(place), 0.8);
}

template <int radius>
Colour blurred(const Picture& input, Int x, Int y) {
    Colour sum{};
    double weights = 0;
    for (Int i = 0; i < (2 * radius + 1) * (2 * radius + 1); ++i) {
        const Int right = i % (2 * radius + 1) - radius, down = i / (2 * radius + 1) - radius;
        const double weight = std::exp(-4.5 * double(right * right + down * down) / (radius * radius));
        const Colour colour = pixel(input, x + right, y + down);
        for (std::size_t c = 0; c < 4; ++c) sum[c] += weight * colour[c];
        weights += weight;
    }
    for (double& each : sum) each /= weights;
    return sum;
}

Colour sharpened(const Picture& input, Int x, Int y) {
    const Colour around = blurred<3>(input, x, y);
    return mapped(pixel(input, x, y), [&](double c, std::size_t i) { return 2 * c - around[i]; });
}

Colour edge(const Picture& input, Int x, Int y) {
    double right = 0, down = 0;
    for (int i : {-1, 0, 0, 1}) {
        right += grey(pixel(input, x + 1, y + i)) - grey(pixel(input, x - 1, y + i));
        down += grey(pixel(input, x + i, y + 1)) - grey(pixel(input, x + i, y - 1));
    }
    return mapped(pixel(input, x, y), [&](double, auto) { return 0.9 * std::hypot(right, down) / 4; });
}

Colour keyed(const Picture& input, Int x, Int y) {
    const Colour colour = pixel(input, x, y), key{0.2, 1, 0}, background{0, 0, 0.6, 0.5};
    const double difference = std::hypot(0.5389 * (colour[2] - grey(colour) - key[2] + grey(key)),
                                         0.6350 * (colour[0] - grey(colour) - key[0] + grey(key)));
    const double kept = colour[3] * std::clamp((difference - 0.3) / 0.2, 0.0, 1.0);
    Colour result = mixed(background, colour, kept / (kept + (1 - kept) * background[3]));
    result[3] = kept + (1 - kept) * background[3];
    return result;
}

Colour darkened(const Picture& input, Int x, Int y) {
    const double distance =
        std::hypot(2 * x + 1 - input.width, 2 * y + 1 - input.height) / std::hypot(input.width, input.height);
    const double t = std::clamp((distance - 0.3) / 0.6, 0.0, 1.0);
    return mapped(pixel(input, x, y), [&](double c, auto) { return c * (1 - 0.9 * t * t * (3 - 2 * t)); });
}

Colour faded(const Picture& input, Int x, Int y) {
    const double u = (double(x) + 0.5) / double(input.width) * double(second.width) - 0.5;
    const double v = (double(y) + 0.5) / double(input.height) * double(second.height) - 0.5;
    const Int i = Int(std::floor(u)), j = Int(std::floor(v));
    const auto row = [&](Int k) { return mixed(pixel(second, i, k), pixel(second, i + 1, k), u - double(i)); };
    return mixed(pixel(input, x, y), mixed(row(j), row(j + 1), v - double(j)), 0.6);
}

TEST(Effects, AgreeWithDoublePrecision) {
    const Values key{
        {"red", 0.2f}, {"tolerance", 0.3f}, {"softness", 0.2f}, {"background-blue", 0.6f}, {"background-alpha", 0.5f}};
    const std::tuple<const char*, Values, Colour (*)(const Picture&, Int, Int)> effects[] = {
        {"colour", {{"exposure", -0.7f}, {"contrast", 1.5f}, {"saturation", 0.4f}}, adjusted},
        {"look-up", {{"table", table(19, twisted, 0.75f)}, {"strength", 0.8f}}, lookedUp},
        {"gaussian-blur", {{"radius", 5.0f}}, blurred<5>},
        {"gaussian-blur", {{"radius", 32.0f}}, blurred<32>},
        {"unsharp-mask", {{"radius", 3.0f}, {"amount", 1.0f}}, sharpened},
        {"edges", {{"strength", 0.9f}}, edge},
        {"chroma-key", key, keyed},
        {"vignette", {{"radius", 0.3f}, {"softness", 0.6f}, {"strength", 0.9f}}, darkened},
        {"cross-fade", {{"picture", texture(second)}, {"amount", 0.6f}}, faded},
    };
    for (const auto& [name, values, expected] : effects) {
        for (const auto& [width, height] : {std::pair<Int, Int>{1, 1}, {37, 29}, {70, 3}}) {
            const Picture input = Picture::noise(width, height, 11), result = EffectRun(name, input, values).result();
            for (Int at = 0; at < width * height; ++at) {
                const Colour colour = expected(input, at % width, at / width);
                for (int c = 0; c < 4; ++c) {
                    const double level = std::clamp(255 * colour[std::size_t(c == 3 ? 3 : 2 - c)], 0.0, 255.0);
                    ASSERT_NEAR(result.at(at % width, at / width, c), std::round(level), 1) << name << at << width;
                }
            }
        }
    }
}

TEST(Effects, StayAsTheyAreWhereSettingsSaySo) {
    const Picture input = Picture::noise(67, 41, 12), other = Picture::noise(67, 41, 13);
    const std::tuple<const char*, Values, const Picture&> settings[] = {
        {"colour", {}, input},
        {"look-up", {{"table", table(2, same)}}, input},
        {"look-up", {{"table", table(129, same)}}, input},
        {"gaussian-blur", {{"radius", 0.0f}}, input},
        {"unsharp-mask", {{"amount", 0.0f}}, input},
        {"vignette", {{"strength", 0.0f}}, input},
        {"cross-fade", {{"picture", texture(other)}, {"amount", 0.0f}}, input},
        {"cross-fade", {{"picture", texture(other)}, {"amount", 1.0f}}, other},
        {"scope", {{"height", 0.0f}}, input},
    };
    for (const auto& [name, values, expected] : settings) {
        EXPECT_TRUE(EffectRun(name, input, values).result() == expected) << name;
    }
}

// The left half black, the right half of one level.
TEST(Effects, ShowLevelsWhereTheyAreInScopes) {
    constexpr Int width = 512, height = 256, level = 100;
    Picture input(width, height);
    for (Int i = 0; i < width * height; ++i) input.bytes[std::size_t(4 * i + 1)] = i % width < width / 2 ? 0 : level;
    const Picture waveform = EffectRun("scope", input, {{"height", 1.0f}}).result();
    const Picture histogram = EffectRun("scope", input, {{"height", 1.0f}, {"kind", 1.0f}}).result();
    for (Int at = 0; at < width * height; ++at) {
        const Int x = at % width, y = at / width, own = x < width / 2 ? 0 : level;
        const bool bar = x / 2 == 0 || x / 2 == level;
        ASSERT_EQ(waveform.at(x, y, 1), height - 1 - y == own ? 255 : own / 4) << x << ", " << y;
        ASSERT_EQ(histogram.at(x, y, 1), bar ? 191 + own / 4 : own / 4) << x << ", " << y;
    }
}

TEST(Effects, TakeNumbersOfEveryTypeWithinTheirRanges) {
    constexpr float infinite = std::numeric_limits<float>::infinity();
    for (const effects::EffectDescription& effect : effects::allEffects()) {
        const auto pass = EffectRun(std::string(effect.name), Picture(2, 2), {}).pass;
        for (const effects::Parameter& each : effect.parameters) {
            const std::string name(each.name);
            if (each.kind != effects::ParameterKind::number) continue;
            EXPECT_EQ(std::any_cast<float>(pass->get(name)), each.initial) << effect.name << ", " << name;
            for (const float number : {each.minimum, each.maximum, -infinite, std::nextafter(each.minimum, -infinite),
                                       infinite, std::nextafter(each.maximum, infinite)}) {
                const LogCapture log;
                pass->set(name, number);
                const bool isInside = number >= each.minimum && number <= each.maximum;
                EXPECT_EQ(log.messages().empty(), isInside) << effect.name << ", " << name << ": " << number;
                const float expected = isInside ? number : each.maximum;
                EXPECT_EQ(std::any_cast<float>(pass->get(name)), expected) << effect.name << ", " << name;
            }
        }
        pass->set("no-such-property", 1.0f);
        EXPECT_FALSE(pass->has("no-such-property") || pass->get("no-such-property").has_value());
    }
    const auto pass = EffectRun("gaussian-blur", Picture(2, 2), {}).pass;
    using Numbers = std::tuple<double, long double, signed char, unsigned short, int, unsigned long, long long>;
    std::apply(
        [&](auto... zeros) {
            for (const std::any& three : {std::any(decltype(zeros)(3))...}) {
                pass->set("radius", 0.3);
                pass->set("radius", three);
                EXPECT_EQ(std::any_cast<float>(pass->get("radius")), 3.0f) << three.type().name();
            }
        },
        Numbers());
}

TEST(Effects, RefuseOtherValuesWithWhatTheyWant) {
    const std::string aNumber = "The effect 'gaussian-blur' takes a number from 0 to 32 as 'radius', not ";
    const std::string aTable = "The effect 'look-up' takes a std::shared_ptr<const LookUpTable> as 'table', not ";
    const std::string aPicture = "The effect 'cross-fade' takes a std::shared_ptr<Texture> as 'picture', not ";
    const std::string anotherType = "a value of another type.";
    const std::tuple<const char*, const char*, std::any, std::string> cases[] = {
        {"gaussian-blur", "radius", 32.5, aNumber + "32.5."},
        {"gaussian-blur", "radius", ~0ULL, aNumber + "1.84467e+19."},
        {"gaussian-blur", "radius", std::numeric_limits<double>::quiet_NaN(), aNumber + "nan."},
        {"gaussian-blur", "radius", true, aNumber + anotherType},
        {"gaussian-blur", "radius", std::string("1"), aNumber + anotherType},
        {"look-up", "table", texture(second), aTable + anotherType},
        {"cross-fade", "picture", table(2, same), aPicture + anotherType},
    };
    for (const auto& [effect, property, value, message] : cases) {
        const Picture input = Picture::noise(9, 9, 5);
        const Values valid{{"radius", 2.0f}, {"table", table(2, twisted)}, {"picture", texture(second)}};
        const EffectRun run(effect, input, {*valid.find(property)});
        const Picture before = run.result();
        const LogCapture log;
        run.pass->set(property, value);
        EXPECT_THAT(log.messages(), testing::ElementsAre(message));
        EXPECT_TRUE(run.result() == before) << message;
    }
}

TEST(Effects, TellWhyTheyCanNotBeMade) {
    const std::tuple<const char*, const char*, const char*> failures[] = {
        {"edges", "Effects::Edges", "Effects::Edges"},
        {"gaussian-blur", "Effects::GaussianBlur::Columns", "Effects::GaussianBlur::Columns"},
        {"gaussian-blur", "makeTexture", "1x1 texture"},
        {"cross-fade", "makeSamplerState", "sampler"},
        {"scope", "makeComputePipelineState", "compute pipeline state: refused"},
    };
    const auto mtlDevice = std::make_shared<RecordingDevice>();
    const auto device = Device::create(mtlDevice);
    const auto library = effects::makeEffectLibrary(*device);
    const auto input = textureOf(device, Picture(2, 2));
    const auto output = textureOf(device, Picture(2, 2));
    for (const auto& [name, refused, reason] : failures) {
        const auto& effect = description(name);
        const LogCapture log;
        mtlDevice->refused.clear();
        EXPECT_NE(effect.makePass(device, *library, input, output, nullptr), nullptr) << name;
        mtlDevice->refused = {refused};
        NSError error;
        EXPECT_EQ(effect.makePass(device, *library, input, output, &error), nullptr) << refused;
        EXPECT_THAT(error.localizedDescription(), testing::HasSubstr(reason));
        EXPECT_THAT(log.messages(), testing::IsEmpty());
        EXPECT_EQ(effect.make(device, *library, input, output), nullptr) << refused;
        EXPECT_THAT(log.messages(), testing::ElementsAre(testing::HasSubstr(reason)));
    }
    mtlDevice->refused = {"makeLibrary"};
    NSError error;
    EXPECT_EQ(effects::makeEffectLibrary(*device, &error), nullptr);
    EXPECT_THAT(error.localizedDescription(), testing::ContainsRegex("ondrix-effects.bundle.*: refused"));
}

TEST(Effects, FailWithoutATableOrAPicture) {
    for (const auto& [name, message] : {std::pair("look-up", "no table"), {"cross-fade", "no picture"}}) {
        const LogCapture log;
        EXPECT_FALSE(EffectRun(name, Picture(2, 2), {}).effect->apply(nullptr));
        EXPECT_THAT(log.messages(), testing::Contains(testing::HasSubstr(message)));
    }
}

TEST(Effects, FollowTheSizeOfTheirInput) {
    const Picture frame = Picture::noise(45, 21, 2);
    for (const char* name : {"colour", "gaussian-blur", "unsharp-mask", "edges", "vignette", "scope"}) {
        const EffectRun run(name, Picture::noise(20, 30, 1), {});
        (void)run.result();
        ASSERT_TRUE(run.input->resize(45, 21) && run.output->resize(45, 21));
        const auto fill = BlitEffect::create(defaultDevice, textureOf(defaultDevice, frame), run.input,
                                             PassType::computePass, MTLPixelFormat::bgra8Unorm);
        EXPECT_TRUE(fill->apply(nullptr));
        EXPECT_TRUE(run.result() == EffectRun(name, frame, {}).result()) << name;
    }
}

}  // namespace
}  // namespace ondrix::test
