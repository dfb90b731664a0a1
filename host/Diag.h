// All that a support case needs. Changes nothing; works without the plug-in and the platform's libraries.
#pragma once

#include "CommandLine.h"
#include "JsonOutput.h"

namespace steward::host {

tools::Json Diagnosis(const CommandLine& line, const AnswerHead& head);

// The same for people: "key: value" lines, nested by indentation.
std::string TextOf(const tools::Json& json);

// Throws std::runtime_error when it cannot be written.
void WriteDiagnosis(const std::wstring& path, const std::string& text);

} // namespace steward::host
