#include "demo/DemoOptions.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string_view>

namespace demo
{

namespace
{

constexpr int eMAX_STOREYS = 400;
constexpr int eMAX_FRAMES = 100000;
constexpr int eMIN_SIDE = 16;
constexpr int eMAX_SIDE = 8192;
constexpr double eMIN_TARGET = 0.001;
constexpr double eMAX_TARGET = 60.0;
// A tree of single shapes costs more to draw than leaves of many, and the flight is all there is.
constexpr double eDYNAMIC_TARGET = 0.4;
constexpr char const* s_dynamicOut = "out/demo-dynamic";
constexpr char const* s_pickOut = "out/demo-pick";

bool ReadInt(std::string_view text, int low, int high, int* value)
{
    int read = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), read);
    if (error != std::errc() || end != text.data() + text.size() || read < low || read > high) {
        return false;
    }
    *value = read;
    return true;
}

bool ReadSize(std::string_view text, DemoOptions* options)
{
    std::size_t const cross = text.find('x');
    return cross != std::string_view::npos &&
           ReadInt(text.substr(0, cross), eMIN_SIDE, eMAX_SIDE, &options->m_width) &&
           ReadInt(text.substr(cross + 1), eMIN_SIDE, eMAX_SIDE, &options->m_height);
}

bool ReadTarget(std::string_view text, double* value)
{
    double read = 0.0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), read);
    if (error != std::errc() || end != text.data() + text.size() ||
        !(read >= eMIN_TARGET && read <= eMAX_TARGET)) {
        return false;
    }
    *value = read;
    return true;
}

/// Takes the value of an option that has one. @return false when the value is bad; `known` tells
/// whether there is such an option at all.
bool SetValue(std::string_view name, std::string_view value, DemoOptions* options, bool* known)
{
    *known = true;
    if (name == "--storeys") {
        return ReadInt(value, 1, eMAX_STOREYS, &options->m_storeys);
    }
    if (name == "--frames") {
        return ReadInt(value, 2, eMAX_FRAMES, &options->m_frames);
    }
    if (name == "--size") {
        return ReadSize(value, options);
    }
    if (name == "--target") {
        return ReadTarget(value, &options->m_targetTime);
    }
    if (name == "--out") {
        options->m_out = value;
        return !value.empty();
    }
    *known = false;
    return false;
}

bool IsFlag(std::string_view name, DemoOptions* options)
{
    if (name == "--no-queries") {
        options->m_queries = false;
        return true;
    }
    if (name == "--dynamic") {
        options->m_dynamic = true;
        return true;
    }
    if (name == "--pick") {
        options->m_pick = true;
        return true;
    }
    if (name == "--help" || name == "-h") {
        options->m_help = true;
        return true;
    }
    return false;
}

bool SetModel(std::string_view text, DemoOptions* options, std::string* problem)
{
    if (text.empty() || !options->m_model.empty()) {
        *problem = text.empty() ? "the model's name is empty"
                                : "more than one model: " + std::string(text);
        return false;
    }
    options->m_model = text;
    return true;
}

} // namespace

char const* GetDemoUsage()
{
    return "usage: demo [--storeys N] [--frames N] [--size WxH] [--target SECONDS] [--out DIR] "
           "[--no-queries] [--dynamic | --pick] [MODEL]";
}

bool ParseDemoOptions(int count, char const* const* arguments, DemoOptions* options,
                      std::string* problem)
{
    bool optionsOver = false;
    bool outGiven = false;
    bool targetGiven = false;
    for (int i = 1; i < count; ++i) {
        std::string_view const argument = arguments[i];
        if (optionsOver || argument.empty() || argument[0] != '-') {
            if (!SetModel(argument, options, problem)) {
                return false;
            }
            continue;
        }
        if (argument == "--") {
            optionsOver = true;
            continue;
        }
        if (IsFlag(argument, options)) {
            continue;
        }
        std::size_t const equals = argument.find('=');
        bool const inOne = equals != std::string_view::npos;
        std::string_view const name = argument.substr(0, equals);
        bool const hasValue = inOne || i + 1 < count;
        std::string_view const value = inOne           ? argument.substr(equals + 1)
                                       : i + 1 < count ? std::string_view(arguments[i + 1])
                                                       : std::string_view();
        bool known = false;
        if (!SetValue(name, value, options, &known)) {
            *problem = !known ? "unknown option " + std::string(name)
                       : !hasValue
                           ? std::string(name) + " needs a value"
                           : std::string(name) + " cannot be \"" + std::string(value) + "\"";
            return false;
        }
        outGiven = outGiven || name == "--out";
        targetGiven = targetGiven || name == "--target";
        i += inOne ? 0 : 1;
    }
    if (options->m_dynamic && options->m_pick) {
        *problem = "--dynamic and --pick do not go together";
        return false;
    }
    if (options->m_dynamic && !outGiven) {
        options->m_out = s_dynamicOut;
    }
    if (options->m_pick && !outGiven) {
        options->m_out = s_pickOut;
    }
    if (options->m_dynamic && !targetGiven) {
        options->m_targetTime = eDYNAMIC_TARGET;
    }
    return true;
}

} // namespace demo
