#pragma once

/// The texts that velk prints about itself, made from the function table, the property tables and the format
/// table.
namespace velk {

void printUsage();
void printPropertyHelp();
/// In the mdoc language of man pages.
void printManualPage();
void printVersion();
void printFormats();

} // namespace velk
