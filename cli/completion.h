// Completion scripts for shells, made from the declared command line, so that they offer what it takes.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace kez::cli {

// The script for "bash", "zsh" or "fish".
std::string CompletionScript(const CLI::App& app, const std::string& shell);

}  // namespace kez::cli
