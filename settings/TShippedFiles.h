#pragma once
#include <QString>

/// Where the files shipped with the studio (configuration templates, documents) are: beside the
/// program in a build tree or a Windows folder, else in <prefix>/share/tessera of an installed program.
class TShippedFiles
{
public:
    /// Folder below the data directories of an installed program.
    static constexpr const char* kInstalledFolder = "tessera";
    /// The file whose presence says the shipped files lie beside the program.
    static constexpr const char* kMarkerFile = "Velto_LoRaWAN_Tessera.ini";

    /// The shipped files' directory of this program, ending with "/".
    static QString Directory();
    /// The same for a program in `programDirectory`: beside it, "../share/tessera" from it, the
    /// system's data directories ("/usr/share/tessera"); the program's directory when none holds them.
    static QString DirectoryFor(const QString& programDirectory);
};
