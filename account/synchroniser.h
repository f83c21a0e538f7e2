// Runs ct_synchronizer, as the PBX's web configuration does.
#pragma once

#include <string>
#include <vector>

// How a run ended.
struct SynchroniserEnd {
    int exitStatus = 0;        // 0 says nothing about the outcome: that is in the status files
    int signal = 0;            // that ended it; 0 for none
    bool interrupted = false;  // its user wanted it to end
};

// Runs the synchroniser with these arguments ("ctGrpId=2"), the one beside this program's own file or else the first
// along PATH, until it ends. A SIGINT, SIGHUP or SIGTERM to this process is passed on to it as SIGTERM. False: it could
// not be started, the user has been told why.
[[nodiscard]] bool account_runSynchroniser(const std::vector<std::string>& arguments, SynchroniserEnd* end);
