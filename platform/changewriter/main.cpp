// kezchangewriter: the change writer as a program of its own, beside whatever else uses the device.
#include <csignal>

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <iostream>
#include <thread>

#include "platform/changewriter/change_writer.h"
#include "platform/control/control.h"
#include "platform/propertydb/volume.h"

namespace {

volatile std::sig_atomic_t g_stop = 0;

void Stop(int) { g_stop = 1; }

// One run; tells a failure once, until another one comes or a run succeeds.
bool Run(kez::changewriter::Delay delay, std::string& told) {
    try {
        kez::changewriter::Drain(delay);
        told.clear();
        return true;
    } catch (const kez::propertydb::VolumeError& error) {
        if (told != error.what()) std::cerr << "kezchangewriter: " << error.what() << std::endl;
        told = error.what();
        return false;
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Carries changes of a device's contacts, tasks and appointments into its change tables."};
    std::string folder;
    unsigned delay = 0;
    bool once = false;
    app.add_option("DEVICE", folder, "The device folder")->required();
    app.add_option("--delay", delay, "Leave changes younger than this for later, in milliseconds");
    app.add_flag("--once", once, "Do what there is to do and end");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }

    std::signal(SIGINT, Stop);
    std::signal(SIGTERM, Stop);
    try {
        kez::control::OpenDevice(folder);
    } catch (const kez::control::DeviceError& error) {
        std::cerr << "kezchangewriter: " << error.what() << std::endl;
        return 1;
    }
    std::string told;
    bool good = Run(kez::changewriter::Delay(delay), told);
    while (!once && !g_stop) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        good = Run(kez::changewriter::Delay(delay), told);
    }
    kez::control::CloseDevice();
    return good ? 0 : 1;
}
