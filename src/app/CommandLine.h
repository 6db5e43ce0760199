#pragma once

#include "ApplicationRequest.h"

#include <QStringList>

/** What the user asked for on the command line. */
struct CommandLine
{
    /** Start, show the window, check it and quit: the smoke test of the installed binary. */
    bool selfTest = false;
    /** Start, print the milliseconds from process start to the first painted window, and quit. */
    bool measureStartup = false;
    /** Files to open and things to clip, with paths made absolute. */
    ApplicationRequest request;

    /**
     * Parses the program's arguments (the program name first). Handles --help
     * and --version itself by printing and exiting, and exits with a message
     * on bad arguments. Needs no application object, so that these work
     * without a display. The toolkit's own options ("-style Fusion",
     * "--style=Fusion", "-platform xcb", "-reverse", ...) are passed over:
     * the GUI application reads them from the same arguments when it is made.
     */
    static CommandLine parse(const QStringList &arguments);

    /** @p arguments without the toolkit's own options and their values, in their order. */
    [[nodiscard]] static QStringList withoutToolkitOptions(const QStringList &arguments);
};
