#include "clip/clip_file.h"

#include <syslog.h>
#include <tinyxml2.h>

#include <cerrno>
#include <cstring>

#include "clip/date_time.h"

namespace {

using tinyxml2::XMLDocument;
using tinyxml2::XMLElement;

int LogParserError(const XMLDocument& document, const char* path) {
  const int error = document.ErrorID();
  syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Parser error %d in file %s\n", error, path);
  syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Parser error cause1 : %s\n", document.ErrorStr());
  syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Parser error cause2 : %s\n", document.ErrorName());
  return error;
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

int ParseTrigger(const char* text, uint32_t* type) {
  static const struct {
    const char* name;
    TriggerType type;
  } kTriggers[] = {
      {"EXTERNAL", kTriggerExternal}, {"MOTION", kTriggerMotion},     {"NETWORK", kTriggerNetwork},
      {"USER", kTriggerUser},         {"SOFTWARE", kTriggerSoftware},
  };
  if (text == nullptr) {
    return EINVAL;
  }
  for (const auto& trigger : kTriggers) {
    if (strcmp(text, trigger.name) == 0) {
      *type = trigger.type;
      return 0;
    }
  }
  return EINVAL;
}

int CopyPath(const char* text, char* path) {
  if (text == nullptr) {
    return EINVAL;
  }
  const size_t length = strnlen(text, sizeof TrackRecord::Path - 1);
  memcpy(path, text, length);
  path[length] = '\0';
  return 0;
}

// Finds a child of the root and parses its text with `parse` into *field.
template <typename Parse, typename Field>
int ReadChild(const XMLElement& root, const char* name, Parse parse, Field* field) {
  const XMLElement* child = FindChildElement(root, name);
  return child == nullptr ? EINVAL : parse(FirstText(*child), field);
}

int ReadTrack(const XMLElement& root, TrackRecord* track) {
  int error = ReadChild(root, "dateFrom", ParseDateTime, &track->DateFrom);
  if (error == 0) {
    error = ReadChild(root, "dateTo", ParseDateTime, &track->DateTo);
  }
  if (error == 0) {
    error = ReadChild(root, "trigger", ParseTrigger, &track->TriggerType);
  }
  if (error == 0) {
    error = ReadChild(root, "path", CopyPath, track->Path);
  }
  return error;
}

}  // namespace

int ParseClipFile(const char* path, TrackRecord* track) {
  XMLDocument document(true, tinyxml2::PRESERVE_WHITESPACE);
  document.LoadFile(path);
  if (document.Error()) {
    return LogParserError(document, path);
  }
  const XMLElement* root = document.FirstChildElement();
  if (root == nullptr) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  Parser error : no root element\n");
    return EINVAL;
  }
  return ReadTrack(*root, track);
}
