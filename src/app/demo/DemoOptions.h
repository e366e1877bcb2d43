// The command line of the demo.
#pragma once

#include <string>

namespace demo
{

/// What the demo is asked to do; the members' initial values are the defaults.
struct DemoOptions
{
    int m_storeys = 0;              ///< of the tower; 0: as many as the demo's standard size needs
    int m_frames = 72;              ///< of the flight, 2 to 100,000
    int m_width = 960;              ///< of the pictures, 16 to 8,192 pixels
    int m_height = 540;             ///< of the pictures, 16 to 8,192 pixels
    double m_targetTime = 0.25;     ///< wanted time of one frame in seconds, 0.001 to 60; 0.4
                                    ///< where the tree is dynamic and nothing else is said
    std::string m_out = "out/demo"; ///< folder for everything that is written; out/demo-dynamic
                                    ///< or out/demo-pick where nothing else is said
    bool m_queries = true;          ///< occlusion queries during the flight
    bool m_dynamic = false;         ///< stream the model into a dynamic tree, and move things
    bool m_pick = false;            ///< pick in views and walk with bodies, instead of flying
    bool m_help = false;            ///< print the usage and stop
    std::string m_model;            ///< model file; empty: the furnished tower
};

/// Reads the command line, both `--name value` and `--name=value`; `--` ends the options.
/// @param count, arguments  as main gets them; the first is skipped
/// @param problem  receives one line when the result is false
/// @return false for an unknown option, a missing or bad value, or a second model
bool ParseDemoOptions(int count, char const* const* arguments, DemoOptions* options,
                      std::string* problem);

/// One line that shows all options.
char const* GetDemoUsage();

} // namespace demo
