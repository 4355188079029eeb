#pragma once

#include <string>

/// The folder that the engine's own library lies in, with a slash at its end; empty where the system doesn't say. From
/// there the rest of the installation is found, whichever program the engine is part of.
std::string EngineFolder();
