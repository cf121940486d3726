#include "clip/clip_file.h"

#include <syslog.h>
#include <tinyxml2.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "clip/date_time.h"
#include "clip/track_record.h"

namespace {

using Kind = ClipFileFault::Kind;
using tinyxml2::XMLDocument;
using tinyxml2::XMLElement;
using tinyxml2::XMLError;

// Loads the file at the path into *document. Returns 0 or tinyxml2's error.
int LoadDocument(const char* path, XMLDocument* document, ClipFileFault* fault) {
  // If tinyxml2 opened the file and then ran out of memory, the file would stay open.
  const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path, "rb"), fclose);
  if (file == nullptr) {
    const int error = errno;
    *fault = {Kind::kNotOpened, error, std::string(path) + ": " + strerror(error)};
    return tinyxml2::XML_ERROR_FILE_NOT_FOUND;
  }
  try {
    document->LoadFile(file.get());
  } catch (const std::bad_alloc&) {
    *fault = {Kind::kNotRead, 0, "out of memory"};
    return tinyxml2::XML_ERROR_FILE_READ_ERROR;
  }
  const XMLError error = document->ErrorID();
  if (error != tinyxml2::XML_SUCCESS) {
    const bool isRead = error != tinyxml2::XML_ERROR_FILE_READ_ERROR;
    *fault = {isRead ? Kind::kMalformed : Kind::kNotRead, 0, document->ErrorStr()};
  }
  return error;
}

const XMLElement* FindChildElement(const XMLElement& parent, const char* name,
                                   ClipFileFault* fault) {
  const XMLElement* child = parent.FirstChildElement(name);
  if (child == nullptr) {
    *fault = {Kind::kNoElement, 0, name};
  }
  return child;
}

// The text of an element's first child node, or null if that node is no text. tinyxml2's GetText
// would skip a comment that comes first.
const char* FirstText(const XMLElement& element) {
  const tinyxml2::XMLNode* first = element.FirstChild();
  return first != nullptr && first->ToText() != nullptr ? first->Value() : nullptr;
}

int ReadDateFrom(const char* text, TrackRecord* track) {
  return ParseDateTime(text, &track->DateFrom);
}

int ReadDateTo(const char* text, TrackRecord* track) { return ParseDateTime(text, &track->DateTo); }

int ReadTrigger(const char* text, TrackRecord* track) {
  static const struct {
    const char* name;
    TriggerType type;
  } kTriggers[] = {
      {"EXTERNAL", kTriggerExternal}, {"MOTION", kTriggerMotion},     {"NETWORK", kTriggerNetwork},
      {"USER", kTriggerUser},         {"SOFTWARE", kTriggerSoftware},
  };
  for (const auto& trigger : kTriggers) {
    if (strcmp(text, trigger.name) == 0) {
      track->TriggerType = trigger.type;
      return 0;
    }
  }
  return EINVAL;
}

int ReadPath(const char* text, TrackRecord* track) {
  const size_t length = strnlen(text, sizeof track->Path - 1);
  memcpy(track->Path, text, length);
  track->Path[length] = '\0';
  return 0;
}

int ReadTrack(const XMLElement& root, TrackRecord* track, ClipFileFault* fault) {
  static const struct {
    const char* name;
    int (*read)(const char* text, TrackRecord* track);
  } kElements[] = {
      {"dateFrom", ReadDateFrom},
      {"dateTo", ReadDateTo},
      {"trigger", ReadTrigger},
      {"path", ReadPath},
  };
  for (const auto& element : kElements) {
    const XMLElement* child = FindChildElement(root, element.name, fault);
    if (child == nullptr) {
      return EINVAL;
    }
    const char* text = FirstText(*child);
    if (text == nullptr || element.read(text, track) != 0) {
      *fault = {Kind::kUnusableText, 0, element.name};
      return EINVAL;
    }
  }
  return 0;
}

void LogFault(int code, const char* path, const ClipFileFault& fault) {
  switch (fault.kind) {
    case Kind::kNotOpened:
    case Kind::kNotRead:
    case Kind::kMalformed:
      syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Parser error %d in file %s\n", code, path);
      syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Parser error cause1 : %s\n",
             fault.detail.c_str());
      syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Parser error cause2 : %s\n",
             XMLDocument::ErrorIDToName(static_cast<XMLError>(code)));
      break;
    case Kind::kNoRoot:
      syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Parser error : no root element\n");
      break;
    case Kind::kNoElement:
      syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  XML parser cannot find element : %s\n",
             fault.detail.c_str());
      break;
    case Kind::kUnusableText:
      break;
  }
}

}  // namespace

bool HasClipFileSuffix(std::string_view path) {
  return path.size() >= kClipFileSuffix.size() &&
         path.substr(path.size() - kClipFileSuffix.size()) == kClipFileSuffix;
}

int ReadClipFile(const char* path, TrackRecord* track, ClipFileFault* fault) {
  XMLDocument document(true, tinyxml2::PRESERVE_WHITESPACE);
  if (const int error = LoadDocument(path, &document, fault); error != 0) {
    return error;
  }
  const XMLElement* root = document.FirstChildElement();
  if (root == nullptr) {
    *fault = {Kind::kNoRoot, 0, {}};
    return EINVAL;
  }
  return ReadTrack(*root, track, fault);
}

int ParseClipFile(const char* path, TrackRecord* track) {
  ClipFileFault fault;
  const int code = ReadClipFile(path, track, &fault);
  if (code != 0) {
    LogFault(code, path, fault);
  }
  return code;
}
