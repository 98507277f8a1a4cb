// One run of the tool on the recording libraries.
#pragma once

#include "contract/transcript.h"

#include <memory>
#include <string>
#include <vector>

// Where tool and libraries are. The environment decides, so that the same cases run on another build of the tool:
// CONTRACT_TOOL, CONTRACT_LIBRARIES (a folder), CONTRACT_LAUNCHER (words put before the tool, an emulator of its
// processor for one), CONTRACT_SERVER (a folder whose libbrgfdb plays many sentences with one start, see
// recording/server.cpp; empty where each is to have a start of its own).
struct Setup {
    std::string tool;
    std::string libraries;
    std::vector<std::string> launcher;
    std::string server;
};
Setup setup_from_environment();

struct Outcome {
    std::string output;                 // standard output
    std::string errors;                 // standard error
    std::vector<std::string> recording; // the calls, one a line
    int exit_status = -1;               // -1: did not end by itself
    int signal = 0;                     // what ended it instead
};

// Starts the tool with these words and answers its library calls in order. Throws when it cannot be started.
Outcome run_tool(const Setup& setup, const std::vector<std::string>& words, const std::vector<Call>& answers);

// The tool, started once for many sentences: with the server of the setup, in whose folder it must have one. Throws
// when it cannot be started, or does not answer.
class Server {
public:
    explicit Server(const Setup& setup);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    Outcome play(const std::vector<std::string>& words, const std::vector<Call>& answers);

private:
    struct Started;
    std::unique_ptr<Started> started;
};

// The same as the environment says: by the server, where there is one. Throws also when that does not answer.
Outcome play(const std::vector<std::string>& words, const std::vector<Call>& answers);
