#pragma once

class MainWindow;

/// Sees to it that the program ends as after the closing of its window, with everything saved and
/// put back, whoever ends it.
namespace Termination {

/// Finishes `window` whenever the program ends while it exists. To be called once, with the
/// application running: from then on SIGTERM, SIGINT, SIGHUP and the end of the desktop session end
/// the program in order.
void Watch(MainWindow& window);

} // namespace Termination
