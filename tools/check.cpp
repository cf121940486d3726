#include "tools/check.h"

#include <algorithm>
#include <cstdio>

#include "tools/catalogue_walk.h"
#include "tools/database_files.h"

ExitStatus Check(const std::string& databaseName, const std::string& watchDirectory) {
  if (EndsInSlash(watchDirectory)) {
    return kWrongUse;
  }
  const std::string database = ResolveDatabase(databaseName);
  CatalogueReader catalogue;
  std::string why;
  if (!catalogue.Open(database, &why)) {
    PrintReason(database, why);
    return kCannotTell;
  }
  ExitStatus status = kCarriedOut;
  WalkCatalogue(watchDirectory, &catalogue, [&](const Finding& finding) {
    if (!finding.reason.empty()) {
      PrintReason(finding.path, finding.reason);
    }
    const bool isDescription =
        finding.kind == Finding::Kind::kMissing || finding.kind == Finding::Kind::kUnusable;
    if (isDescription) {
      puts(finding.path.c_str());
    }
    status = std::max(status, isDescription ? kMissing : kCannotTell);
    return true;
  });
  return status;
}
