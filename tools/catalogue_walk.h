#ifndef VEXAMGR_TOOLS_CATALOGUE_WALK_H
#define VEXAMGR_TOOLS_CATALOGUE_WALK_H

#include <functional>
#include <string>

#include "clip/track_record.h"
#include "db/catalogue_reader.h"

// What a walk found. The walk ends after kAway and after kCatalogueLost.
struct Finding {
  enum class Kind {
    kMissing,        // a clip description that can be used, but whose clip has no row
    kUnusable,       // a clip description that can't be used
    kFolder,         // a folder that can't be listed
    kAway,           // the watch directory is not there, or not the same as at the beginning
    kCatalogueLost,  // the catalogue can't be read any more
  };

  Kind kind;
  std::string path;         // of the description or the folder
  std::string reason;       // why it can't be used; empty for kMissing
  bool isOwnFault = false;  // of kUnusable and kFolder: its content, permissions or name is to
                            // blame, so that another try is no use
  TrackRecord track = {};   // of kMissing
};

// Looks for the row of every clip that is described below the watch directory, in the order of a
// population. Calls `report` with each finding as soon as it is made, and ends if that returns
// false. A description or a folder that has gone meanwhile is no finding.
void WalkCatalogue(const std::string& watchDirectory, CatalogueReader* catalogue,
                   const std::function<bool(const Finding&)>& report);

#endif
