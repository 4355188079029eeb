#pragma once

namespace korven::common {

/// For programs at their start, before any thread: sets VANTIX_HOME to the installation that the engine's library lies
/// in, ARCHM to the platform's name and ComSpec to the installation's command shell, each where it is unset.
void PrepareInstallation();

}  // namespace korven::common
