// The commands of ct_account.
//
// Each returns ACCOUNT_OK, ACCOUNT_FAILED or ACCOUNT_USAGE, and has then told the user why. No command holds the
// database set open while the synchroniser runs.
#pragma once

#include "options.h"

// The command line of the whole program.
[[nodiscard]] int account_main(int argc, char** argv);

[[nodiscard]] int account_add(const Options& options);
[[nodiscard]] int account_remove(const Options& options);

[[nodiscard]] int account_listGroups(const Options& options);
[[nodiscard]] int account_authorise(const Options& options);
[[nodiscard]] int account_sync(const Options& options);

[[nodiscard]] int account_showStatus(const Options& options);
[[nodiscard]] int account_showContacts(const Options& options);
[[nodiscard]] int account_search(const Options& options);
