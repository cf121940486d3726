#include "app/signals.h"

#include <csignal>

#include "manager/vexa_manager.h"

std::atomic<VexaManager*> activeManager{nullptr};

void InstallSignalHandler() {
  struct sigaction action = {};
  action.sa_handler = HandleSignal;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

void HandleSignal(int signal) {
  if (signal != SIGINT && signal != SIGTERM) {
    return;
  }
  if (VexaManager* manager = activeManager; manager != nullptr) {
    manager->Stop();
  }
}
