// quillon: offline use of the engine: rendering audio through the plug-in, its parameters and
// state, and stored trees. Every failure is one line on standard error and exit status 1.

#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>

#include "base/exception.h"
#include "tools/quillon/commands.h"

namespace {

// Engine messages may span lines (a cause under its summary); the command line promises one.
int Refuse(std::string message) {
  for (char& c : message) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  std::string::size_type blanks;
  while ((blanks = message.find("  ")) != std::string::npos) message.erase(blanks, 1);
  std::fprintf(stderr, "quillon: %s\n", message.c_str());
  return 1;
}

} // namespace

int main(int argc, char** argv) {
  CLI::App app{"quillon: the Quillon engine on the command line"};
  app.require_subcommand(1);
  quillon_cli::AddRenderCommand(app);
  quillon_cli::AddParamsCommand(app);
  quillon_cli::AddStateCommand(app);
  quillon_cli::AddTreeCommand(app);
  quillon_cli::AddGraphCommand(app);
  quillon_cli::AddBenchCommand(app);
  quillon_cli::AddImageCommands(app);
  quillon_cli::AddEditorPreviewCommand(app);
  try {
    app.parse(argc, argv);
    return 0;
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    return Refuse(e.what());
  } catch (const quillon_cli::CommandError& e) {
    return Refuse(e.what());
  } catch (const RException& e) {
    return Refuse(e.GetMessage().ToUTF8());
  } catch (const std::exception& e) {
    return Refuse(e.what());
  } catch (...) {
    return Refuse("an unexpected failure ended the command");
  }
}
