#include "tools/command_line.h"

#include <getopt.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

#include "ipc/requester.h"

namespace {

enum Option : int {
  kHelp,
  kVersion,
  kTimeout,
  kPending,
  kContent,
  kSourceId,
  kSourceName,
  kSourceLocation,
  kSourceDescription,
  kSourceAddress,
  kMaxRetentionTime,
  kOptionCount,
};

// In the order of Option.
const option kOptions[] = {
    {"help", no_argument, nullptr, kHelp},
    {"version", no_argument, nullptr, kVersion},
    {"timeout", required_argument, nullptr, kTimeout},
    {"pending", no_argument, nullptr, kPending},
    {"content", required_argument, nullptr, kContent},
    {"source-id", required_argument, nullptr, kSourceId},
    {"source-name", required_argument, nullptr, kSourceName},
    {"source-location", required_argument, nullptr, kSourceLocation},
    {"source-description", required_argument, nullptr, kSourceDescription},
    {"source-address", required_argument, nullptr, kSourceAddress},
    {"max-retention-time", required_argument, nullptr, kMaxRetentionTime},
    {},
};
static_assert(std::size(kOptions) == kOptionCount + 1);

// The argument of each option, empty for one that takes none; null where it was not given.
using Arguments = const char* [kOptionCount];

std::string Name(int option) { return std::string("--") + kOptions[option].name; }

bool WrongUse(const std::string& what) {
  fprintf(stderr, "vexactl: %s\n", what.c_str());
  return false;
}

bool ReadOptions(int argc, char** argv, Arguments* arguments) {
  unsetenv("POSIXLY_CORRECT");  // options may follow the command and its files
  static char name[] = "vexactl";
  argv[0] = name;  // getopt_long's messages begin with it
  int option;
  while ((option = getopt_long(argc, argv, "h", kOptions, nullptr)) != -1) {
    if (option == '?') {
      return false;  // getopt_long has said what is wrong
    }
    if (option == 'h') {
      option = kHelp;
    }
    const char*& argument = (*arguments)[option];
    if (argument != nullptr && optarg != nullptr) {
      return WrongUse(Name(option) + " is given twice");
    }
    argument = optarg != nullptr ? optarg : "";
  }
  return true;
}

template <typename Number>
bool ReadNumber(const std::string& what, std::string_view text, Number least, Number most,
                Number* number) {
  const char* const end = text.data() + text.size();
  const auto [next, error] = std::from_chars(text.data(), end, *number);
  if (error != std::errc() || next != end || *number < least || *number > most) {
    return WrongUse(what + " must be a whole number from " + std::to_string(least) + " to " +
                    std::to_string(most));
  }
  return true;
}

bool CheckLength(const std::string& what, std::string_view text, size_t least, size_t most) {
  if (text.size() < least || text.size() > most) {
    return WrongUse(what + " must have " + std::to_string(least) + " to " + std::to_string(most) +
                    " bytes, not " + std::to_string(text.size()));
  }
  return true;
}

bool ReadPaths(Request (*make)(const std::string& path), int count, char** paths,
               std::vector<Request>* requests) {
  if (count == 0) {
    return WrongUse("no file is given");
  }
  for (int i = 0; i < count; ++i) {
    if (!CheckLength("a path", paths[i], 1, kMaxPathLength)) {
      return false;
    }
    requests->push_back(make(paths[i]));
  }
  return true;
}

bool ReadTexts(const Arguments& arguments, RecordingUpdate* update) {
  const struct {
    Option option;
    char* field;
    size_t size;
  } texts[] = {
      {kContent, update->Content, sizeof update->Content},
      {kSourceId, update->SourceId, sizeof update->SourceId},
      {kSourceName, update->SourceName, sizeof update->SourceName},
      {kSourceLocation, update->SourceLocation, sizeof update->SourceLocation},
      {kSourceDescription, update->SourceDescription, sizeof update->SourceDescription},
      {kSourceAddress, update->SourceAddress, sizeof update->SourceAddress},
  };
  for (const auto& text : texts) {
    const char* argument = arguments[text.option];
    if (!CheckLength(Name(text.option), argument, 0, text.size - 1)) {
      return false;
    }
    snprintf(text.field, text.size, "%s", argument);
  }
  return true;
}

bool ReadUpdate(const Arguments& arguments, int count, char** ids, std::vector<Request>* requests) {
  if (count != 1) {
    return WrongUse("update takes one recording ID");
  }
  for (int option = kContent; option < kOptionCount; ++option) {
    if (arguments[option] == nullptr) {
      return WrongUse("update replaces all descriptive columns and needs " + Name(option));
    }
  }
  Request& request = requests->emplace_back();
  request.subject = std::string("recording ") + ids[0];
  request.outcome = "updated";
  request.message.MessageId = COMMAND_UPDATE_RECORDING;
  request.message.DataLength = sizeof request.message.Update;
  request.size = COMMAND_UPDATE_SIZE;
  RecordingUpdate& update = request.message.Update;
  using Id = std::numeric_limits<int32_t>;
  using Time = std::numeric_limits<uint32_t>;
  return ReadNumber("the recording ID", ids[0], Id::min(), Id::max(), &update.Id) &&
         ReadTexts(arguments, &update) &&
         ReadNumber(Name(kMaxRetentionTime), arguments[kMaxRetentionTime], Time::min(), Time::max(),
                    &update.MaxRetentionTime);
}

bool ReadTimeout(const char* argument, int* seconds) {
  const int kDay = 24 * 60 * 60;
  return argument == nullptr || ReadNumber(Name(kTimeout), argument, 1, kDay, seconds);
}

bool ReadPing(int count, std::vector<Request>* requests) {
  if (count != 0) {
    return WrongUse("ping takes no operand");
  }
  requests->push_back(Ping());
  return true;
}

// Reads a database and, where two names are given, a watch directory.
bool ReadNames(int count, char** names, CommandLine* commandLine) {
  const int least = commandLine->action == CommandLine::Action::kPrepare ? 1 : 2;
  if (count < least || count > 2) {
    return WrongUse(least == 1 ? "prepare takes a database and at most a watch directory"
                               : "a database and a watch directory must be given");
  }
  commandLine->database = names[0];
  commandLine->watchDirectory = count == 2 ? names[1] : "";
  if (commandLine->database.empty() || *names[count - 1] == '\0') {
    return WrongUse("a name is empty");
  }
  return true;
}

using Action = CommandLine::Action;

constexpr unsigned Bit(int option) { return 1U << option; }
constexpr unsigned kUpdateOptions = Bit(kOptionCount) - Bit(kContent);  // the last seven

const struct Command {
  const char* name;
  Action action;
  unsigned options;  // the bits of those that may be given
} kCommands[] = {
    {"insert", Action::kInsert, Bit(kTimeout)},
    {"delete", Action::kDelete, Bit(kTimeout)},
    {"update", Action::kUpdate, Bit(kTimeout) | kUpdateOptions},
    {"ping", Action::kPing, Bit(kTimeout)},
    {"prepare", Action::kPrepare, 0},
    {"check", Action::kCheck, 0},
    {"complete", Action::kComplete, Bit(kTimeout) | Bit(kPending)},
};

bool CheckOptions(const Command& command, const Arguments& arguments) {
  for (int option = kTimeout; option < kOptionCount; ++option) {
    if (arguments[option] != nullptr && (command.options & Bit(option)) == 0) {
      return WrongUse(Name(option) + " does not go with " + command.name);
    }
  }
  return true;
}

bool ReadOperands(const Arguments& arguments, int count, char** operands,
                  CommandLine* commandLine) {
  std::vector<Request>* requests = &commandLine->requests;
  switch (commandLine->action) {
    case Action::kInsert:
      return ReadPaths(InsertionOf, count, operands, requests);
    case Action::kDelete:
      return ReadPaths(DeletionOf, count, operands, requests);
    case Action::kUpdate:
      return ReadUpdate(arguments, count, operands, requests);
    case Action::kPing:
      return ReadPing(count, requests);
    default:
      return ReadNames(count, operands, commandLine);
  }
}

bool ReadCommand(const Arguments& arguments, int count, char** words, CommandLine* commandLine) {
  if (count == 0) {
    return WrongUse("no command is given");
  }
  for (const Command& command : kCommands) {
    if (strcmp(words[0], command.name) == 0) {
      commandLine->action = command.action;
      commandLine->pending = arguments[kPending] != nullptr;
      return CheckOptions(command, arguments) &&
             ReadOperands(arguments, count - 1, words + 1, commandLine);
    }
  }
  return WrongUse(std::string("unknown command ") + words[0]);
}

}  // namespace

bool ParseCommandLine(int argc, char** argv, CommandLine* commandLine) {
  Arguments arguments = {};
  if (!ReadOptions(argc, argv, &arguments)) {
    return false;
  }
  if (arguments[kHelp] != nullptr || arguments[kVersion] != nullptr) {
    commandLine->action = arguments[kHelp] != nullptr ? Action::kHelp : Action::kVersion;
    return true;
  }
  return ReadTimeout(arguments[kTimeout], &commandLine->timeout) &&
         ReadCommand(arguments, argc - optind, argv + optind, commandLine);
}
