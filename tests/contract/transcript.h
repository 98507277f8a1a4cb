// Transcripts: what a sentence makes the tool call and print.
//
//     # Ports 1 to 10 are physical.                 a comment
//     $ create port 5 npport 2 portType ether       the sentence; several in a row share what follows
//     > brgfdb_create_port(5, 2, 1) = -1 status 1202  each library call in order, with the scripted answer
//     NG 1202 "port 5 already exists."              the outcome; a blank line ends the case
//
// Words with blanks or special characters stand in double quotes, with \" \\ \n \t and \xHH; {a*300} is 300 times a, in
// sentences, calls and outcomes. An answer is ` = RESULT` with, as the call has them, `status N`, `vid N`, `type N`,
// `number N` (getprotobyname) or `prints "text"`; without one the call succeeds with 0. Outcomes:
//
//     OK                   the OK document
//     NG CODE "message"    the NG document
//     usage                the usage text
//     no more argument     that line
//     nothing              no output at all
//     | text               these lines, literally
//     ...                  any one of them: what the log of the emulated switch has, which does not see what is printed
#pragma once

#include <string>
#include <vector>

struct Call {
    std::string text; // as the recording has it
    std::string result;
    std::string status;
    std::string value;
    std::string prints;
};

struct Case {
    std::string file; // without folder and ending
    int line = 0;     // of the sentence
    std::string sentence;
    std::vector<std::string> words;
    std::vector<Call> calls;
    std::string output;          // the exact bytes on standard output
    bool has_any_output = false; // any one outcome will do
};

// Reads the cases of a file. `usage` is the usage text. Throws std::runtime_error naming file and line of what it
// cannot understand.
std::vector<Case> read_transcript(const std::string& path, const std::string& usage);

std::string read_file(const std::string& path);

std::string ok_document();
std::string ng_document(const std::string& code, const std::string& message);
