// The errors that more than one step of a download ends with.
#pragma once

#include <string>
#include <string_view>

#include "base/Error.h"

namespace tarvo {

/// ErrorDomain::RemoteFile, worded by the texts of the two keys.
Error remoteFileError(RemoteFileError code, std::string_view key, std::string_view recoveryKey = {});

Error illegalState();

/// A job that has failed or was stopped saves no more.
Error saveWithFault();

/// Not everything has come, and asking again has brought nothing more.
Error incomplete();

/// What the server sends is not what it was asked for.
Error unexpectedSegmentSize();

/// The server says that the file has more bytes than are wanted.
Error tooLarge(std::int64_t size, std::int64_t largest);

Error changedOnServer();

/// The data file could not be written or read; `cause` says why.
Error writeFailure(const Error& cause);

Error dataFileShrank(const std::string& path);

/// Another job, of this program or another one, has the bundle.
Error bundleInUse(const std::string& bundle);

/// The folder of a bundle is on a disk that is not connected.
Error folderAway(const std::string& folder);

/// Whether what a job has failed with may be gone at the next attempt, without the user.
bool canHeal(const Error& error);

/// The text of `key`, followed by the system's own account of `cause`.
Error becauseOf(std::string_view key, const Error& cause);

} // namespace tarvo
