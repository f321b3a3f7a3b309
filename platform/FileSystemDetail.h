#pragma once

#include <QByteArray>

struct stat;

// What FolderItem and FolderListing share; not for use outside them.
namespace FileSystemDetail {

// Modification time in nanoseconds since the epoch.
long long StampNs(const struct stat& st);
long long NowNs();
// Folder time stamps are coarse: a listing taken this soon after a change may have missed a
// second change within the same tick.
constexpr long long kSettledNs = 200'000'000LL;
// Reads what fd holds within kMaxManifestBytes and closes it; only a regular file is read.
QByteArray ReadCapped(int fd, bool* ok);
// The same for a descriptor already known to be a regular file, without asking its kind.
QByteArray ReadCappedRegular(int fd, bool* ok);

} // namespace FileSystemDetail
