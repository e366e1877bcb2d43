#include "util/TqUError.h"

#include "util/TqUComponent.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace
{

char const* SeverityName(TqUSysError::Severity severity)
{
    switch (severity) {
    case TqUSysError::eWARNING:
        return "warning";
    case TqUSysError::eERROR:
        return "error";
    case TqUSysError::eFATAL:
        return "fatal";
    }
    return "error";
}

void WriteLine(TqUSysError::Severity severity, char const* component, char const* text, void*)
{
    std::fprintf(stderr, "scenecull %s: %s: %s\n", SeverityName(severity), component, text);
}

TqUComponent s_component("TqUError");
TqUError::Handler s_handler = WriteLine;
void* s_userData = nullptr;

// Replaces the end of a text that did not fit, on the border of a UTF-8 character.
void MarkCut(char* text)
{
    constexpr char s_mark[] = "...";
    char* end = text + TqUError::s_textSize - sizeof(s_mark);
    while (end != text && (static_cast<unsigned char>(*end) & 0xC0) == 0x80) {
        --end;
    }
    std::memcpy(end, s_mark, sizeof(s_mark));
}

} // namespace

void TqUError::Post(TqUSysError::Severity severity, TqUComponent const* component,
                    char const* format, ...)
{
    char text[s_textSize] = "";
    if (format != nullptr) {
        std::va_list arguments;
        va_start(arguments, format);
        int const length = std::vsnprintf(text, sizeof(text), format, arguments);
        va_end(arguments);
        if (length >= s_textSize) {
            MarkCut(text);
        } else if (length < 0) {
            std::snprintf(text, sizeof(text), "%s", "(text could not be formatted)");
        }
    }
    s_handler(severity, component != nullptr ? component->GetName() : "unknown", text, s_userData);
}

void TqUError::SetHandler(Handler handler, void* userData)
{
    s_handler = handler != nullptr ? handler : WriteLine;
    s_userData = userData;
}

void TqUError::Initialise()
{
    s_component.Initialise("TqUError", "util/TqUError.cpp 1");
}

void TqUError::Terminate()
{
    s_component.Terminate();
}

int TqUError::IsInitialised()
{
    return s_component.IsInitialised();
}
