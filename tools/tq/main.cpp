extern "C" {
#include <libavutil/log.h>
}

#include <CLI/CLI.hpp>
#include <clocale>
#include <csignal>
#include <exception>
#include <string>

#include "tools/tq/DemoCommand.h"
#include "tools/tq/DownloadCommand.h"
#include "tools/tq/LoadCommand.h"
#include "tools/tq/Outcome.h"

namespace {

using namespace tq::tool;

constexpr std::size_t kOptionColumns = 20;
constexpr const char* kCancelWords = "Ctrl-C cancels; a second one ends tq at once.";

void addLoad(CLI::App& app, LoadRequest& request) {
  auto* const command = app.add_subcommand("load", "Load videos of a folder, fetching those in the cloud");
  command
      ->add_option("FOLDER", request.folder, "The photo library: a folder with videos, subfolders included")
      ->required()
      ->type_name("");
  command
      ->add_option("ID", request.identifiers,
                   "The videos to load, by their paths within the folder, in this\n"
                   "order; repeats are allowed. Without any: all, by name")
      ->type_name("");
  command
      ->add_option("--cache", request.cache,
                   "Where originals out of the cloud are kept and looked for.\n"
                   "Without: CloudVideos in the user's cache folder of tq")
      ->type_name("FOLDER");
  command->add_flag("--json", request.json,
                    "Print an array of objects instead of rows: identifier,\n"
                    "duration (seconds), width, height, codec, source, file");
  command->footer(
      std::string("A file NAME.cloud says that the video NAME is in the cloud; its first line is\n"
                  "the http or https URL of the original. Nothing in FOLDER is ever written.\n\n"
                  "Prints a row for each video: identifier, duration, frame size, codec, and\n"
                  "whether it is local or was fetched. A video that cannot be loaded ends the\n"
                  "load, and no row is printed. ") +
      kCancelWords);
}

void addDownload(CLI::App& app, DownloadRequest& request) {
  auto* const command = app.add_subcommand("download", "Download one file over http or https");
  command->add_option("URL", request.url, "What to download")->required()->type_name("");
  command->add_option("FILE", request.file, "Where to put it: must not exist, and its folder must")
      ->required()
      ->type_name("");
  command->footer(std::string("The file appears complete or not at all, and never over another one. What a\n"
                              "server sends with a status like 404 is a file too: tq keeps it and warns.\n") +
                  kCancelWords);
}

void addDemo(CLI::App& app) {
  auto* const command = app.add_subcommand("demo", "Show a load at work, without files or network of yours");
  command->footer(
      std::string("Makes a library of tiny test clips in a temporary folder, some of them in the\n"
                  "cloud of a slow server on 127.0.0.1 that tq runs itself, loads them as tq load\n"
                  "does, and removes the folder again. Takes some 8 seconds.\n") +
      kCancelWords);
}

int usageFailure(const std::string& sentence) {
  static_cast<void>(fail(sentence));
  say("see tq --help");
  return kExitUsage;
}

int run(int argc, char** argv) {
  CLI::App app("Loads the videos of a photo library that is a folder, and downloads files.", "tq");
  app.get_formatter()->column_width(kOptionColumns);
  app.set_version_flag("--version", "tq " TQ_VERSION);
  app.require_subcommand(0, 1);  // none is for us to tell; more would take a folder "demo" for a command
  app.footer(
      "tq COMMAND --help tells more of a command.\n"
      "Exit status: 0 success, 1 failure, 2 wrong usage, 130 cancelled.");
  LoadRequest loadRequest;
  DownloadRequest downloadRequest;
  addLoad(app, loadRequest);
  addDownload(app, downloadRequest);
  addDemo(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    return usageFailure(error.what());
  }
  const Interrupts interrupts;
  if (app.got_subcommand("load")) return load(loadRequest, interrupts);
  if (app.got_subcommand("download")) return download(downloadRequest, interrupts);
  if (app.got_subcommand("demo")) return demo(interrupts);
  return usageFailure("name a command: load, download or demo");
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "C.UTF-8");  // NOLINT(concurrency-mt-unsafe): no other thread runs yet
  std::signal(SIGPIPE, SIG_IGN);        // a server or a reader that goes away is an error of that one write
  av_log_set_level(AV_LOG_FATAL);
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    return fail(error.what());
  }
}
