// How fast the service populates a new database and answers requests, each beside the bare library
// or system calls that it can't do without. bench.sh prints the ratios.

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <syslog.h>
#include <tinyxml2.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "clip/clip_file.h"
#include "clip/date_time.h"
#include "ipc/requester.h"
#include "manager/vexa_manager.h"

namespace {

namespace fs = std::filesystem;

// A folder of clip descriptions, 100 a subfolder, removed with the object.
class ClipFolder {
 public:
  ClipFolder(const std::string& parent, int clips) : folder_(parent + "/vexamgr-bench-XXXXXX") {
    if (mkdtemp(folder_.data()) == nullptr) {
      perror(folder_.c_str());
      exit(1);
    }
    for (int i = 0; i < clips; ++i) {
      const std::string name = std::to_string(i / 100) + "/clip" + std::to_string(i);
      fs::create_directories(watch() + "/" + std::to_string(i / 100));
      paths.push_back(watch() + "/" + name + ".xml");
      std::ofstream(paths.back()) << "<?xml version=\"1.0\"?>\n<clip>\n"
                                     "  <dateFrom>2013-05-21T14:03:27Z</dateFrom>\n"
                                     "  <dateTo>2013-05-21T16:05:00+0200</dateTo>\n"
                                     "  <trigger>MOTION</trigger>\n"
                                     "  <path>/mnt/sd/recordings/"
                                  << name << ".mp4</path>\n</clip>\n";
    }
  }
  ~ClipFolder() { fs::remove_all(folder_); }
  ClipFolder(const ClipFolder&) = delete;
  ClipFolder& operator=(const ClipFolder&) = delete;

  std::string watch() const { return folder_ + "/watch"; }
  std::string database() const { return folder_ + "/catalogue.db"; }

  std::vector<std::string> paths;

 private:
  std::string folder_;
};

void PopulateWithService(const ClipFolder& folder) {
  VexaManager manager(folder.database().c_str(), -1, folder.watch().c_str());
  manager.Stop();  // Start ends with the population
  if (manager.Start() != 0) {
    exit(1);
  }
}

// The same statements and the same parses, with nothing of the service around them.
void PopulateWithLibraries(const ClipFolder& folder, const std::vector<std::string>& statements) {
  sqlite3* connection;
  sqlite3_open(folder.database().c_str(), &connection);
  for (size_t i = 0; i < statements.size(); ++i) {
    tinyxml2::XMLDocument document;
    document.LoadFile(folder.paths[i].c_str());
    if (sqlite3_exec(connection, statements[i].c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
      exit(1);
    }
    syslog(LOG_DAEMON | LOG_INFO, "[VexaManager] Inserted clip %s\n", folder.paths[i].c_str());
  }
  sqlite3_close(connection);
}

void CreateSchema(const ClipFolder& folder) {
  VexaDAO dao(folder.database().c_str());
  dao.CreateNewDatabase("Norvane", "Pellaro", "Quintor", "");
  dao.InsertRecording(0, 0, "Recording Contents", 2, {}, 0);
}

std::vector<std::string> InsertStatements(size_t count) {
  std::vector<std::string> statements;
  for (size_t i = 0; i < count; ++i) {
    statements.push_back(
        "INSERT INTO Track VALUES ('1369145007', '1369145100', '2', "
        "'/mnt/sd/recordings/" +
        std::to_string(i / 100) + "/clip" + std::to_string(i) + ".mp4');");
  }
  return statements;
}

// The least real and processor time, in seconds, that some work has taken.
struct Best {
  template <typename Work>
  void Measure(Work work) {
    const auto start = std::chrono::steady_clock::now();
    const clock_t startCpu = clock();
    work();
    cpu = std::min(cpu, static_cast<double>(clock() - startCpu) / CLOCKS_PER_SEC);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    real = std::min(real, time.count());
  }

  double real = INFINITY, cpu = INFINITY;
};

// Service and libraries by turns, so that what else the machine does meets both.
void Population(benchmark::State& state, const std::string& parent, int clips) {
  const ClipFolder folder(parent, clips);
  const std::vector<std::string> statements = InsertStatements(folder.paths.size());
  Best service, libraries;
  for ([[maybe_unused]] auto iteration : state) {
    fs::remove(folder.database());
    service.Measure([&] { PopulateWithService(folder); });
    fs::remove(folder.database());
    CreateSchema(folder);
    libraries.Measure([&] { PopulateWithLibraries(folder, statements); });
  }
  state.counters["clips_per_s"] = clips / service.real;
  state.counters["cpu_us"] = service.cpu / clips * 1e6;
  state.counters["time_ratio"] = service.real / libraries.real;
  state.counters["cpu_ratio"] = service.cpu / libraries.cpu;
}

// A process that serves the command queue, which it creates, until the object is destroyed.
class Server {
 public:
  template <typename Serve>
  explicit Server(Serve serve) : process_(fork()) {
    if (process_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      serve();
      _exit(1);
    }
    while (OpenCommandQueue(&queue) != 0) {
      if (waitpid(process_, nullptr, WNOHANG) != 0) {
        exit(1);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  ~Server() {
    msgctl(queue, IPC_RMID, nullptr);
    waitpid(process_, nullptr, 0);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // A value in KiB from /proc/PID/smaps_rollup, see proc(5).
  double Memory(const std::string& name) const {
    std::ifstream rollup("/proc/" + std::to_string(process_) + "/smaps_rollup");
    double sum = 0;
    for (std::string word; rollup >> word;) {
      double value;
      if (word.compare(0, name.size(), name) == 0 && rollup >> value) {
        sum += value;
      }
    }
    return sum;
  }

  int queue;

 private:
  const pid_t process_;
};

void Echo() {
  const int queue = msgget(COMMAND_QUEUE_KEY, IPC_CREAT | 0600);
  CommandMessage request;
  while (msgrcv(queue, &request, COMMAND_TEXT_SIZE, COMMAND_REQUEST_TYPE, 0) >= 0) {
    CommandReply reply = {request.SenderType, COMMAND_REQUEST_TYPE, request.MessageId, 4, 0};
    msgsnd(queue, &reply, COMMAND_REPLY_SIZE, 0);
  }
}

void Exchange(int queue, CommandMessage* request, size_t size) {
  CommandReply reply;
  request->mtype = COMMAND_REQUEST_TYPE;
  request->SenderType = getpid();
  if (msgsnd(queue, request, size, 0) < 0 ||
      msgrcv(queue, &reply, COMMAND_REPLY_SIZE, getpid(), 0) < 0 || reply.Result != 0) {
    exit(1);
  }
}

struct Request {
  CommandMessage message;
  size_t size;
};

// Times one exchange of `timed` an iteration; one of `untimed`, if there are any, comes before it.
void RoundTrips(benchmark::State& state, const Server& server, std::vector<Request> timed,
                std::vector<Request> untimed) {
  using Clock = std::chrono::steady_clock;
  std::vector<double> times;
  for ([[maybe_unused]] auto iteration : state) {
    if (!untimed.empty()) {
      Request& request = untimed[times.size() % untimed.size()];
      Exchange(server.queue, &request.message, request.size);
    }
    Request& request = timed[times.size() % timed.size()];
    const Clock::time_point start = Clock::now();
    Exchange(server.queue, &request.message, request.size);
    const std::chrono::duration<double> time = Clock::now() - start;
    state.SetIterationTime(time.count());
    times.push_back(time.count() * 1e6);
  }
  std::sort(times.begin(), times.end());
  state.counters["median_us"] = times[times.size() / 2];
  state.counters["p99_us"] = times[times.size() * 99 / 100];
  state.counters["resident_kib"] = server.Memory("Rss:");
  state.counters["private_kib"] = server.Memory("Private_");
}

std::vector<Request> PathRequests(int messageId, const std::vector<std::string>& paths) {
  std::vector<Request> requests(paths.size());
  for (size_t i = 0; i < paths.size(); ++i) {
    requests[i].size = MakePathRequest(messageId, paths[i], &requests[i].message);
  }
  return requests;
}

// Two that differ: SQLite writes nothing for an update that changes nothing.
std::vector<Request> UpdateRequests() {
  std::vector<Request> requests(2, {{}, COMMAND_UPDATE_SIZE});
  for (Request& request : requests) {
    request.message.MessageId = COMMAND_UPDATE_RECORDING;
    request.message.Update.Id = 1;
  }
  requests[0].message.Update.MaxRetentionTime = 1;
  return requests;
}

void RoundTrip(benchmark::State& state, const std::string& parent, int messageId) {
  const ClipFolder folder(parent, 1000);
  const Server server(
      [&] { execl(VEXAMGR, VEXAMGR, folder.database().c_str(), folder.watch().c_str(), nullptr); });
  std::vector<Request> inserts = PathRequests(COMMAND_INSERT_CLIP, folder.paths);
  Exchange(server.queue, &inserts[0].message, inserts[0].size);  // the population is complete
  if (messageId == COMMAND_INSERT_CLIP) {
    RoundTrips(state, server, inserts, {});
  } else if (messageId == COMMAND_DELETE_CLIP) {
    RoundTrips(state, server, PathRequests(messageId, folder.paths), inserts);
  } else {
    RoundTrips(state, server, UpdateRequests(), {});
  }
}

void EchoRoundTrip(benchmark::State& state) {
  const Server server(Echo);
  RoundTrips(state, server, PathRequests(COMMAND_INSERT_CLIP, {"/mnt/sd/recordings/1.xml"}), {});
}

void ParsesClipFile(benchmark::State& state) {
  const ClipFolder folder("/dev/shm", 1);
  TrackRecord track;
  for ([[maybe_unused]] auto iteration : state) {
    benchmark::DoNotOptimize(ParseClipFile(folder.paths[0].c_str(), &track));
  }
}

void ParsesDateTime(benchmark::State& state) {
  uint32_t seconds;
  for ([[maybe_unused]] auto iteration : state) {
    benchmark::DoNotOptimize(ParseDateTime("2013-05-21T16:05:00+0200", &seconds));
  }
}

void Register(const std::string& name, const std::string& parent) {
  for (int clips : {1000, 10000}) {
    benchmark::RegisterBenchmark(("Population/" + name + "/" + std::to_string(clips)).c_str(),
                                 [=](benchmark::State& state) { Population(state, parent, clips); })
        ->Iterations(5);
  }
  for (const auto& [request, messageId] : {std::pair{"insert", COMMAND_INSERT_CLIP},
                                           {"delete", COMMAND_DELETE_CLIP},
                                           {"update", COMMAND_UPDATE_RECORDING}}) {
    benchmark::RegisterBenchmark(
        ("RoundTrip/" + name + "/" + request).c_str(),
        [=, id = messageId](benchmark::State& state) { RoundTrip(state, parent, id); })
        ->Iterations(10000)
        ->UseManualTime();
  }
}

}  // namespace

// The argument, if there is one, is a folder on a disk.
int main(int argc, char** argv) {
  int queue;
  if (OpenCommandQueue(&queue) == 0) {
    fputs("A service is running: start this in an IPC namespace of its own.\n", stderr);
    return 1;
  }
  setlogmask(LOG_MASK(LOG_ERR));  // tens of thousands of lines are no use to the system log
  benchmark::Initialize(&argc, argv);
  Register("ram", "/dev/shm");
  Register("disk", argc > 1 ? argv[1] : ".");
  benchmark::RegisterBenchmark("RoundTrip/echo", EchoRoundTrip)->Iterations(10000)->UseManualTime();
  benchmark::RegisterBenchmark("ParseClipFile", ParsesClipFile);
  benchmark::RegisterBenchmark("ParseDateTime", ParsesDateTime);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
