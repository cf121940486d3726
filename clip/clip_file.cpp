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

using tinyxml2::XMLDocument;
using tinyxml2::XMLElement;
using tinyxml2::XMLError;

int LogParserError(XMLError error, const char* path, const char* cause) {
  syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Parser error %d in file %s\n", error, path);
  syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Parser error cause1 : %s\n", cause);
  syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Parser error cause2 : %s\n",
         XMLDocument::ErrorIDToName(error));
  return error;
}

// Loads the file at the path into *document. Returns 0, or logs why not and returns the error.
int LoadDocument(const char* path, XMLDocument* document) {
  // Opened here, where it is closed in any case: a file that tinyxml2 opens stays open if memory
  // runs short.
  const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path, "rb"), fclose);
  if (file == nullptr) {
    const char* reason = strerror(errno);
    const std::string cause = std::string(path) + ": " + reason;
    return LogParserError(tinyxml2::XML_ERROR_FILE_NOT_FOUND, path, cause.c_str());
  }
  try {
    document->LoadFile(file.get());
  } catch (const std::bad_alloc&) {
    return LogParserError(tinyxml2::XML_ERROR_FILE_READ_ERROR, path, strerror(ENOMEM));
  }
  return document->Error() ? LogParserError(document->ErrorID(), path, document->ErrorStr()) : 0;
}

const XMLElement* FindChildElement(const XMLElement& parent, const char* name) {
  const XMLElement* child = parent.FirstChildElement(name);
  if (child == nullptr) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  XML parser cannot find element : %s\n", name);
  }
  return child;
}

// The text of an element's first child node, or null when that is no text. Not GetText:
// tinyxml2's skips a leading comment.
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

int ReadTrack(const XMLElement& root, TrackRecord* track) {
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
    const XMLElement* child = FindChildElement(root, element.name);
    const char* text = child != nullptr ? FirstText(*child) : nullptr;
    if (text == nullptr) {
      return EINVAL;
    }
    if (const int error = element.read(text, track); error != 0) {
      return error;
    }
  }
  return 0;
}

}  // namespace

bool HasClipFileSuffix(std::string_view path) {
  return path.size() >= kClipFileSuffix.size() &&
         path.substr(path.size() - kClipFileSuffix.size()) == kClipFileSuffix;
}

int ParseClipFile(const char* path, TrackRecord* track) {
  XMLDocument document(true, tinyxml2::PRESERVE_WHITESPACE);
  if (const int error = LoadDocument(path, &document); error != 0) {
    return error;
  }
  const XMLElement* root = document.FirstChildElement();
  if (root == nullptr) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Parser error : no root element\n");
    return EINVAL;
  }
  return ReadTrack(*root, track);
}
