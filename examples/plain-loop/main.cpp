// What any loop needs to show requests as they get on: plain-loop REQUESTS OUTPUT NAME...
// Prints each change of these requests until all have ended. The exit code is 0 when all are done.

#include <ZEL_Processor/zel.h>

#include <atomic>
#include <iostream>
#include <iterator>
#include <map>
#include <string>

namespace {

// Both stand for those of a toolkit: post an event from any thread (g_idle_add, PostMessage, a byte into a pipe that is
// polled), and sleep until one was posted.
void Post(void* posted)
{
    static_cast<std::atomic<bool>*>(posted)->store(true);
    static_cast<std::atomic<bool>*>(posted)->notify_one();
}
void Sleep(std::atomic<bool>& posted)
{
    posted.wait(false);
    posted = false; // before the look: what changes from here on is posted again
}

// True when it has ended.
bool Look(zel_client* client, const std::string& name, std::string& shown, bool& allDone)
{
    zel_status* status = nullptr;
    if (zel_get_status(client, name.c_str(), &status) != ZEL_OK) {
        std::cerr << name << ": " << zel_last_error()->text << '\n';
        allDone = false;
        return true;
    }
    std::string line = name + ": " + zel_state_name(status->state);
    if (status->percent >= 0)
        line += " " + std::to_string(status->percent) + " %";
    if (line != shown)
        std::cout << line << '\n' << std::flush;
    shown = line;
    const bool hasEnded = status->has_ended == 1;
    allDone = allDone && (!hasEnded || status->state == ZEL_STATE_DONE);
    zel_free(status);
    return hasEnded;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        std::cerr << "plain-loop REQUESTS OUTPUT NAME...\n";
        return 2;
    }
    std::atomic<bool> posted = false;
    zel_client* client = nullptr;
    zel_watch* watch = nullptr;
    if (zel_client_open(argv[1], argv[2], nullptr, &client) != ZEL_OK ||
        zel_watch_open(client, Post, &posted, &watch) != ZEL_OK) {
        std::cerr << zel_last_error()->text << ' ' << zel_last_error()->detail << '\n';
        zel_client_close(client);
        return 1;
    }
    std::map<std::string, std::string> shown;
    for (int index = 3; index < argc; ++index)
        shown[argv[index]];
    bool allDone = true;
    while (!shown.empty()) {
        Sleep(posted);
        for (auto request = shown.begin(); request != shown.end();) {
            const bool hasEnded = Look(client, request->first, request->second, allDone);
            request = hasEnded ? shown.erase(request) : std::next(request);
        }
    }
    zel_watch_close(watch); // its callback does not run any more: what it was given may go
    zel_client_close(client);
    return allDone ? 0 : 1;
}
