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
    {"content", required_argument, nullptr, kContent},
    {"source-id", required_argument, nullptr, kSourceId},
    {"source-name", required_argument, nullptr, kSourceName},
    {"source-location", required_argument, nullptr, kSourceLocation},
    {"source-description", required_argument, nullptr, kSourceDescription},
    {"source-address", required_argument, nullptr, kSourceAddress},
    {"max-retention-time", required_argument, nullptr, kMaxRetentionTime},
    {nullptr, 0, nullptr, 0},
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

bool CheckNoTexts(const Arguments& arguments) {
  for (int option = kContent; option < kOptionCount; ++option) {
    if (arguments[option] != nullptr) {
      return WrongUse(Name(option) + " goes with update only");
    }
  }
  return true;
}

bool ReadPaths(int32_t messageId, const char* outcome, int count, char** paths,
               std::vector<Request>* requests) {
  if (count == 0) {
    return WrongUse("no file is given");
  }
  for (int i = 0; i < count; ++i) {
    if (!CheckLength("a path", paths[i], 1, kMaxPathLength)) {
      return false;
    }
    Request& request = requests->emplace_back();
    request.subject = paths[i];
    request.outcome = outcome;
    request.textSize = MakePathRequest(messageId, paths[i], &request.message);
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
    memcpy(text.field, argument, strlen(argument) + 1);
  }
  return true;
}

bool ReadUpdate(const Arguments& arguments, int count, char** ids, std::vector<Request>* requests) {
  if (count != 1) {
    return WrongUse("update takes one recording ID");
  }
  for (int option = kContent; option < kOptionCount; ++option) {
    if (arguments[option] == nullptr) {
      return WrongUse("update replaces all columns and needs " + Name(option));
    }
  }
  Request& request = requests->emplace_back();
  request.subject = std::string("recording ") + ids[0];
  request.outcome = "updated";
  request.message.MessageId = COMMAND_UPDATE_RECORDING;
  request.message.DataLength = sizeof request.message.Update;
  request.textSize = COMMAND_UPDATE_SIZE;
  RecordingUpdate& update = request.message.Update;
  using Id = std::numeric_limits<int32_t>;
  using Time = std::numeric_limits<uint32_t>;
  return ReadNumber("the recording ID", ids[0], Id::min(), Id::max(), &update.Id) &&
         ReadTexts(arguments, &update) &&
         ReadNumber(Name(kMaxRetentionTime), arguments[kMaxRetentionTime], Time::min(), Time::max(),
                    &update.MaxRetentionTime);
}

// A ping is a deletion without a path. The service refuses it with -1, which tells that it answers,
// and neither changes nor logs anything for it.
bool ReadPing(int count, std::vector<Request>* requests) {
  if (count != 0) {
    return WrongUse("ping takes no operand");
  }
  Request& request = requests->emplace_back();
  request.subject = "vexamgr";
  request.outcome = "reached";
  request.message.MessageId = COMMAND_DELETE_CLIP;
  request.message.DataLength = 0;
  request.textSize = COMMAND_HEADER_SIZE;
  request.success = -1;
  return true;
}

bool ReadTimeout(const char* argument, std::chrono::seconds* timeout) {
  const int kDay = 24 * 60 * 60;
  int seconds = 0;
  if (argument == nullptr) {
    return true;
  }
  if (!ReadNumber(Name(kTimeout), argument, 1, kDay, &seconds)) {
    return false;
  }
  *timeout = std::chrono::seconds(seconds);
  return true;
}

bool ReadCommand(const Arguments& arguments, int count, char** operands,
                 std::vector<Request>* requests) {
  if (count == 0) {
    return WrongUse("no command is given");
  }
  const std::string command = operands[0];
  if (command == "update") {
    return ReadUpdate(arguments, count - 1, operands + 1, requests);
  }
  if (!CheckNoTexts(arguments)) {
    return false;
  }
  if (command == "insert") {
    return ReadPaths(COMMAND_INSERT_CLIP, "inserted", count - 1, operands + 1, requests);
  }
  if (command == "delete") {
    return ReadPaths(COMMAND_DELETE_CLIP, "deleted", count - 1, operands + 1, requests);
  }
  if (command == "ping") {
    return ReadPing(count - 1, requests);
  }
  return WrongUse("unknown command " + command);
}

}  // namespace

bool ParseCommandLine(int argc, char** argv, CommandLine* commandLine) {
  Arguments arguments = {};
  if (!ReadOptions(argc, argv, &arguments)) {
    return false;
  }
  if (arguments[kHelp] != nullptr || arguments[kVersion] != nullptr) {
    commandLine->action =
        arguments[kHelp] != nullptr ? CommandLine::Action::kHelp : CommandLine::Action::kVersion;
    return true;
  }
  return ReadTimeout(arguments[kTimeout], &commandLine->timeout) &&
         ReadCommand(arguments, argc - optind, argv + optind, &commandLine->requests);
}
