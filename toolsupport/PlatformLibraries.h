// The platform's two libraries, found at run time, so that a tool starts without them and can say what is
// missing. The functions of traceSink.h and setupKit.h are defined here as forwards; a program that links
// this file has no use for the import libraries.
#pragma once

#include <string>

namespace steward::tools {

// Where the libraries are looked for before the program's own folder: the folder of the plug-in, with or
// without a trailing backslash. Without effect on a library that is loaded already.
void LookForPlatformLibrariesIn(const std::wstring& folder);

// Without traceSink.dll nothing is logged. Without setupKit.dll every function of it fails and leaves
// ERROR_MOD_NOT_FOUND: no folder is known, no path changed, no file copied.
bool IsTraceSinkThere();
bool IsSetupKitThere();

// "setupKit.dll is missing in C:\plugin\ and C:\tools\; put it there". Empty when it is there.
std::string WhyNoSetupKit();
std::string WhyNoTraceSink();

// The program's own objects log nothing from now on, so that a log holds the plug-in's lines alone.
void KeepOwnLogQuiet();

// The program's folder, with its trailing backslash.
std::wstring FolderOfThisProgram();

} // namespace steward::tools
