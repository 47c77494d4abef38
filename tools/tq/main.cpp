#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <clocale>
#include <csignal>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tools/tq/DatesCommand.h"
#include "tools/tq/DemoCommand.h"
#include "tools/tq/DeviceCommand.h"
#include "tools/tq/DownloadCommand.h"
#include "tools/tq/FoldersCommand.h"
#include "tools/tq/LoadCommand.h"
#include "tools/tq/NetCommand.h"
#include "tools/tq/Outcome.h"

namespace {

using namespace tq::tool;

constexpr std::size_t kOptionColumns = 20;
constexpr const char* kCancelWords = "Ctrl-C cancels; a second one ends tq at once.";

// A command of the command line, and what it runs.
struct Command {
  CLI::App* arguments;
  std::function<int(const Interrupts&)> run;
};
using Commands = std::vector<Command>;

int usageFailure(const std::string& sentence) {
  static_cast<void>(fail(sentence));
  say("see tq --help");
  return kExitUsage;
}

void addLoad(CLI::App& app, Commands& commands) {
  const auto request = std::make_shared<LoadRequest>();
  auto* const command = app.add_subcommand("load", "Load videos of a folder, fetching those in the cloud");
  command
      ->add_option("FOLDER", request->folder, "The photo library: a folder with videos, subfolders included")
      ->required()
      ->type_name("");
  command
      ->add_option("ID", request->identifiers,
                   "The videos to load, by their paths within the folder, in this\n"
                   "order; repeats are allowed. Without any: all, by name")
      ->type_name("");
  command
      ->add_option("--cache", request->cache,
                   "Where originals out of the cloud are kept and looked for.\n"
                   "Without: CloudVideos in the user's cache folder of tq")
      ->type_name("FOLDER");
  command->add_flag("--json", request->json,
                    "Print an array of objects instead of rows: identifier,\n"
                    "duration (seconds), width, height, codec, source, file");
  command->footer(
      std::string("A file NAME.cloud says that the video NAME is in the cloud; its first line is\n"
                  "the http or https URL of the original. Nothing in FOLDER is ever written.\n\n"
                  "Prints a row for each video: identifier, duration, frame size, codec, and\n"
                  "whether it is local or was fetched. A video that cannot be loaded ends the\n"
                  "load, and no row is printed. ") +
      kCancelWords);
  commands.push_back(
      {command, [request](const Interrupts& interrupts) { return load(*request, interrupts); }});
}

void addDownload(CLI::App& app, Commands& commands) {
  const auto request = std::make_shared<DownloadRequest>();
  auto* const command = app.add_subcommand("download", "Download one file over http or https");
  command->add_option("URL", request->url, "What to download")->required()->type_name("");
  command->add_option("FILE", request->file, "Where to put it: must not exist, and its folder must")
      ->required()
      ->type_name("");
  command->add_flag("!--no-resume", request->resumes, "Fetch all of it, and keep nothing when it fails");
  command->add_option("--retries", request->retries, "Further tries after a failure (4)")
      ->type_name("N")
      ->check(CLI::Range(0, 1000));
  command->add_option("--timeout", request->timeout, "How long a try goes on without a byte (60)")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 86'400));
  command->footer(
      std::string("The file appears complete or not at all, and never over another one. What a\n"
                  "server sends with a status like 404 is a file too: tq keeps it and warns.\n"
                  "What has come before a failure or a signal is kept for a week: the same download\n"
                  "goes on from there, provided that the server still has the same file. What\n"
                  "fails in passing is tried again; tries that brought something new, and waiting\n"
                  "for the network, count nothing.\n") +
      kCancelWords);
  commands.push_back(
      {command, [request](const Interrupts& interrupts) { return download(*request, interrupts); }});
}

void addDemo(CLI::App& app, Commands& commands) {
  auto* const command = app.add_subcommand("demo", "Show a load at work, without files or network of yours");
  command->footer(
      std::string("Makes a library of tiny test clips in a temporary folder, some of them in the\n"
                  "cloud of a slow server on 127.0.0.1 that tq runs itself, loads them as tq load\n"
                  "does, and removes the folder again. Takes some 8 seconds.\n") +
      kCancelWords);
  commands.push_back({command, &demo});
}

void addNet(CLI::App& app, Commands& commands) {
  const auto request = std::make_shared<NetRequest>();
  auto* const command = app.add_subcommand("net", "Show how the network can be reached, and each change");
  command
      ->add_option("HOST", request->host,
                   "A host name or an address. Without: the network as a whole,\n"
                   "reachable when there is a default route")
      ->check([](const std::string& host) { return host.empty() ? "it is empty" : std::string(); })
      ->type_name("");
  command->add_flag("--once", request->once, "End after the first line");
  command->footer(
      "Prints the connection (No Connection, WiFi or Cellular; whatever is not cellular\n"
      "counts as WiFi) and a picture of the flags, now and at each change until Ctrl-C.\n\n"
      "The picture, from the left: W cellular, R reachable, a space, c connection\n"
      "required, t transient, i intervention required, C on traffic, D on demand,\n"
      "l local address, d direct (no gateway); - for each that is not set. Reachable\n"
      "means that packets would leave, not that there is an answer.");
  commands.push_back(
      {command, [request](const Interrupts& interrupts) { return net(*request, interrupts); }});
}

void addDevice(CLI::App& app, Commands& commands) {
  auto* const command = app.add_subcommand("device", "Show what the library knows of this device");
  command->footer(
      "Prints the model, the hardware's identifier, the version of the system, the language\n"
      "and the free space of the home folder. A PC counts as a simulator;\n"
      "SIMULATOR_MODEL_IDENTIFIER in the environment, such as iPhone10,3, names the device\n"
      "it stands for.");
  commands.push_back({command, &device});
}

void addFolders(CLI::App& app, Commands& commands) {
  auto* const command =
      app.add_subcommand("folders", "Show the library's working folders and what they hold");
  command->footer(
      "Prints a row for each place: what it is for, how many files it holds and how\n"
      "large they are, and where it lies; \"cannot be had\" where something is in the way.\n"
      "Folders that are missing are created.");
  commands.push_back({command, [](const Interrupts&) { return folders(); }});
}

void addClean(CLI::App& app, Commands& commands) {
  const auto request = std::make_shared<CleanRequest>();
  auto* const command = app.add_subcommand("clean", "Remove the media in the library's working folders");
  command->add_flag("--yes", request->isConfirmed, "Do not ask. Needed where there is no terminal to ask on");
  command->add_flag("--image", request->image, "Remove the background image of in-app messages, too");
  command->footer(
      "Removes the folders of cloud media and of media being edited with all that is in\n"
      "them; links are removed, and what they lead to stays. Prints what is gone.");
  commands.push_back(
      {command, [request](const Interrupts& interrupts) { return clean(*request, interrupts); }});
}

void addDates(CLI::App& app, Commands& commands) {
  const auto date = std::make_shared<std::string>();
  auto* const command = app.add_subcommand("dates", "Show a day's boundaries, neighbours and month");
  command
      ->add_option("DATE", *date,
                   "The moment, on the clocks of your time zone: 2024-03-05,\n"
                   "2024-03-05T09:30 or 2024-03-05T09:30:15. Without: now")
      ->type_name("");
  command->footer(
      "Calendar, zone and the language of the rows are those that TZ (else\n"
      "/etc/localtime) and LC_ALL, LC_TIME or LANG ask for; a locale such as\n"
      "en_US.UTF-8@calendar=hebrew asks for a calendar. The headings are in the\n"
      "language of the program, which is English.");
  commands.push_back({command, [date](const Interrupts&) { return dates(*date); }});
}

void addDuration(CLI::App& app, Commands& commands) {
  const auto seconds = std::make_shared<std::vector<std::string>>();
  auto* const command = app.add_subcommand("duration", "Show durations as clocks do");
  command->add_option("SECONDS", *seconds, "Numbers of seconds, with fractions if you like")->type_name("");
  command->prefix_command();  // from the first negative one on, they look like options
  command->footer(
      "Prints minutes and seconds, beyond an hour (from 3601 on) with hours before them.\n"
      "A fraction is cut off.");
  commands.push_back({command, [seconds, command](const Interrupts&) {
                        auto all = *seconds;
                        for (auto& negative : command->remaining())
                          if (negative != "--") all.push_back(std::move(negative));
                        return all.empty() ? usageFailure("name a number of seconds") : duration(all);
                      }});
}

// A standard stream that the caller has closed would become the first file or pipe that is opened. In its
// place comes one that refuses to be used, as a closed one does.
void keepStandardStreamsApart() {
  for (;;) {
    const int lowest = ::open("/dev/null", O_RDONLY);
    if (lowest == STDIN_FILENO) {
      ::close(lowest);
      if (::open("/dev/null", O_WRONLY) < 0) return;
    } else if (lowest != STDOUT_FILENO && lowest != STDERR_FILENO) {
      if (lowest >= 0) ::close(lowest);
      return;
    }
  }
}

// "load, download or net".
std::string namesOf(const Commands& commands) {
  std::string names;
  for (std::size_t i = 0; i < commands.size(); ++i) {
    if (i > 0) names += i + 1 == commands.size() ? " or " : ", ";
    names += commands[i].arguments->get_name();
  }
  return names;
}

int run(int argc, char** argv) {
  CLI::App app("Shows the TQFoundation library at work: loads videos, downloads, watches the network.", "tq");
  app.get_formatter()->column_width(kOptionColumns);
  app.set_version_flag("--version", "tq " TQ_VERSION);
  app.require_subcommand(
      0, 1);  // 0: this program reports a missing one; more than 1 would take a folder "demo" for a command
  app.footer(
      "tq COMMAND --help says more about a command.\n"
      "Exit status: 0 success, 1 failure, 2 wrong usage, 130 cancelled.");
  Commands commands;
  for (const auto add : {&addLoad, &addDownload, &addDemo, &addNet, &addDates, &addDuration, &addDevice,
                         &addFolders, &addClean})
    add(app, commands);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    return usageFailure(error.what());
  }
  const Interrupts interrupts;
  for (const Command& command : commands)
    if (command.arguments->parsed()) return command.run(interrupts);
  return usageFailure("name a command: " + namesOf(commands));
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "C.UTF-8");  // NOLINT(concurrency-mt-unsafe): no other thread runs yet
  std::signal(SIGPIPE, SIG_IGN);        // a server or a reader that goes away is an error of that one write,
  std::signal(SIGXFSZ, SIG_IGN);        // and so is a file that becomes larger than the user's limit
  keepStandardStreamsApart();
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    return fail(error.what());
  }
}
