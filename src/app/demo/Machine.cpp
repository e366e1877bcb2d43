#include "demo/Machine.h"

#include <sys/utsname.h>

#include <fstream>
#include <thread>

namespace demo
{

namespace
{

std::string FindProcessorName()
{
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        std::size_t const colon = line.find(": ");
        if (line.rfind("model name", 0) == 0 && colon != std::string::npos) {
            return line.substr(colon + 2);
        }
    }
    return {};
}

} // namespace

std::string DescribeMachine()
{
    std::string text = FindProcessorName();
    if (unsigned const cores = std::thread::hardware_concurrency(); cores > 0) {
        text +=
            (text.empty() ? "" : ", ") + std::to_string(cores) + (cores == 1 ? " core" : " cores");
    }
    utsname names;
    if (uname(&names) == 0) {
        text += (text.empty() ? "" : ", ") + std::string(names.sysname) + " " + names.machine;
    }
    return text;
}

} // namespace demo
