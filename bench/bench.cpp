// How fast the service populates a new database and answers requests, beside the bare library and
// system calls that it can't do without. Prints each line as soon as it is measured.

#include <err.h>
#include <sys/msg.h>
#include <sys/wait.h>
#include <syslog.h>
#include <tinyxml2.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <vector>

#include "clip/clip_file.h"
#include "clip/track_record.h"
#include "db/catalogue_reader.h"
#include "ipc/requester.h"
#include "manager/vexa_manager.h"

using Work = std::function<void(size_t turn)>;
using Times = std::vector<double>;  // microseconds, sorted

static std::vector<std::string> paths;  // the clip descriptions in the working directory

static void Check(bool right, const std::string& what) {
  if (!right) {
    errx(1, "%s failed", what.c_str());
  }
}

static void EnterFolder(std::string folder, size_t clips) {
  folder += "/vexamgr-bench-XXXXXX";
  Check(mkdtemp(folder.data()) != nullptr, folder);
  std::filesystem::current_path(folder);
  Check(system(VEXACTL " prepare prepared.db") == 0, "preparation");
  paths.clear();
  for (size_t i = 0; i < clips; ++i) {
    std::filesystem::create_directories("watch/" + std::to_string(i / 100));
    paths.push_back("watch/" + std::to_string(i / 100) + "/clip" + std::to_string(i) + ".xml");
    char time[sizeof "2013-05-21T14:03:27Z"];
    snprintf(time, sizeof time, "2013-05-21T%02zu:%02zu:%02zuZ", i / 3600 % 24, i / 60 % 60,
             i % 60);
    std::ofstream(paths[i]) << "<clip><dateFrom>" << time << "</dateFrom>"
                            << "<dateTo>" << time << "</dateTo><trigger>MOTION</trigger>"
                            << "<path>/mnt/sd/" << paths[i] << "</path></clip>\n";
  }
}

static void LeaveFolder() { std::filesystem::remove_all(std::filesystem::current_path()); }

// The times of two kinds of work. They take turns, so that other work of the machine slows both
// alike.
static std::array<Times, 2> Measure(size_t turns, const std::array<Work, 2>& works) {
  std::array<Times, 2> times;
  for (size_t turn = 0; turn < turns; ++turn) {
    for (size_t i = 0; i < works.size(); ++i) {
      const auto start = std::chrono::steady_clock::now();
      works[i](turn);
      const std::chrono::duration<double, std::micro> time =
          std::chrono::steady_clock::now() - start;
      times[i].push_back(time.count());
    }
  }
  for (Times& list : times) {
    std::sort(list.begin(), list.end());
  }
  return times;
}

static void PrepareCatalogue() {
  std::filesystem::copy_file("prepared.db", "catalogue.db",
                             std::filesystem::copy_options::overwrite_existing);
}

static void Populate(size_t /*turn*/) {
  PrepareCatalogue();
  VexaManager manager("catalogue.db", -1, "watch");
  manager.Stop();  // Start ends with the population
  Check(manager.Start() == 0, "population");
}

// The same parses and statements, without what the service does around them.
static void ParseAndExecute(size_t /*turn*/) {
  PrepareCatalogue();
  VexaDAO dao("catalogue.db");
  dao.CreateNewDatabase("", "", "", "");
  dao.InsertRecording(0, 0, "", 0, {}, 0);
  for (const std::string& path : paths) {
    tinyxml2::XMLDocument().LoadFile(path.c_str());
    const TrackRecord track = {1369145007, 1369145100, kTriggerUser, "/mnt/sd/watch/9/clip999.xml"};
    Check(dao.InsertTrack(track) == 0, path);
  }
}

// Sends a request and awaits its reply, by the bare system calls or through the requester.
static void Exchange(CommandMessage request, size_t size, bool bare = false) {
  const int queue = msgget(COMMAND_QUEUE_KEY, 0);
  CommandReply reply = {0, 0, 0, 0, -1};
  request.mtype = COMMAND_REQUEST_TYPE;
  request.SenderType = getpid();
  if (!bare) {
    SendRequest(queue, &request, size, std::chrono::minutes(1), &reply.Result);
  } else if (msgsnd(queue, &request, size, 0) == 0) {
    msgrcv(queue, &reply, COMMAND_REPLY_SIZE, getpid(), 0);
  }
  Check(reply.Result == 0, "request");
}

static Work Requests(int32_t id, bool bare = false) {
  return [=](size_t turn) {
    CommandMessage request = {0, 0, id, 0, {}};
    size_t size = COMMAND_UPDATE_SIZE;
    if (id == COMMAND_UPDATE_RECORDING) {
      request.Update.Id = 1;
      // Another number each time: SQLite does not write a row that stays as it is.
      request.Update.MaxRetentionTime = static_cast<uint32_t>(2 * turn + bare);
    } else {
      size = MakePathRequest(id, paths[0], &request);
    }
    Exchange(request, size, bare);
  };
}

static void Echo() {
  const int queue = msgget(COMMAND_QUEUE_KEY, IPC_CREAT | 0600);
  for (CommandMessage request; msgrcv(queue, &request, COMMAND_REQUEST_SIZE, 1, 0) >= 0;) {
    const CommandReply reply = {request.SenderType, 1, request.MessageId, 4, 0};
    msgsnd(queue, &reply, COMMAND_REPLY_SIZE, 0);
  }
}

static void Print(const std::string& what, double value) {
  printf("%-70s %8.2f\n", what.c_str(), value);
}

// Measures two kinds of requests to a server in a process of its own.
static void MeasureServer(void (*serve)(), const std::array<const char*, 2>& names,
                          const std::array<Work, 2>& works) {
  const pid_t server = fork();
  if (server == 0) {
    serve();
    _exit(1);
  }
  while (msgget(COMMAND_QUEUE_KEY, 0) < 0) {
    Check(waitpid(server, nullptr, WNOHANG) == 0, "the start of a server");
    usleep(1000);
  }
  const std::array<Times, 2> times = Measure(3000, works);
  for (size_t i = 0; i < 2; ++i) {
    const std::string name = names[i];
    Print(name + ", median, us", times[i][times[i].size() / 2]);
    Print(name + ", 99th percentile, us", times[i][times[i].size() * 99 / 100]);
  }
  const std::string rollup = "/proc/" + std::to_string(server) + "/smaps_rollup";
  Check(system(("grep -e ^Rss -e ^Private_Dirty " + rollup).c_str()) == 0, rollup);
  msgctl(msgget(COMMAND_QUEUE_KEY, 0), IPC_RMID, nullptr);
  waitpid(server, nullptr, 0);
}

static void Serve() { execl(VEXAMGR, VEXAMGR, "catalogue.db", "watch", nullptr); }

// Leaves the populated catalogue.db for the measurements that follow.
static void MeasurePopulation() {
  const auto [bare, service] = Measure(5, {ParseAndExecute, Populate});
  Print("a population, for each clip, us", service[0] / static_cast<double>(paths.size()));
  Print("a population, as a multiple of its parses and SQL statements alone", service[0] / bare[0]);
}

static void CheckCatalogue(size_t /*turn*/) {
  Check(system(VEXACTL " check catalogue.db watch") == 0, "check");
}

// The same descriptions and rows, without what the command does around them.
static void ParseAndLookUp(size_t /*turn*/) {
  CatalogueReader catalogue;
  std::string why;
  Check(catalogue.Open("catalogue.db", &why), why);
  for (const std::string& path : paths) {
    TrackRecord track;
    ClipFileFault fault;
    bool hasRow = false;
    ReadClipFile(path.c_str(), &track, &fault);
    Check(catalogue.HasTrack(track, &hasRow, &why) && hasRow, path);
  }
}

static void MeasureCheck() {
  const auto [bare, command] = Measure(5, {ParseAndLookUp, CheckCatalogue});
  Print("a check, for each clip, us", command[0] / static_cast<double>(paths.size()));
  Print("a check, as a multiple of its parses and lookups alone", command[0] / bare[0]);
}

int main(int argc, char** argv) {
  if (argc != 2) {
    errx(2, "the one argument is a folder on a disk");
  }
  setlinebuf(stdout);
  setlogmask(LOG_MASK(LOG_ERR));  // the lines of so many insertions would flood the system log
  const std::array<Work, 2> updates = {Requests(COMMAND_UPDATE_RECORDING),
                                       Requests(COMMAND_UPDATE_RECORDING, true)};
  MeasureServer(Echo, {"an echo through the requester", "an echo"}, updates);
  for (const std::string& folder : std::vector<std::string>{"/dev/shm", argv[1]}) {
    for (const size_t clips : std::vector<size_t>{1000, 10000}) {
      printf("\nIn %s, a catalogue of %zu clips:\n", folder.c_str(), clips);
      EnterFolder(folder, clips);
      MeasurePopulation();
      MeasureCheck();
      MeasureServer(Serve, {"an insertion", "a deletion"},
                    {Requests(COMMAND_INSERT_CLIP), Requests(COMMAND_DELETE_CLIP)});
      MeasureServer(Serve, {"an update", "an update by bare system calls"}, updates);
      LeaveFolder();
    }
  }
}
