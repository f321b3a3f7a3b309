#pragma once

#include "catalogue/FirmClass.h"
#include "platform/FolderItem.h"
#include "platform/TextInputStream.h"

#include <QDateTime>
#include <QString>
#include <QVector>

#include <functional>

// The firmware catalogue without a window: manifests and flash.sh scripts read into records,
// and the texts the catalogue writes (a dropped image's manifest, a flash.sh made from image
// names, a preset row). EspWin's catalogue handlers walk the folders and call these.
namespace Catalogue {

// Asked on every pass of a long read: lets other events run, and answers false once the read
// should stop where it stands (its window is gone).
using KeepGoing = std::function<bool()>;

// 0 for a manifest of firmware entries, 1 for one firmware with variants, -1 for neither.
int ManifestType(const QString& text);

// Each appends the records of one manifest to `into`, behind a separator record when `into`
// already holds more than one. `folder` is the manifest's folder. A key line with no record in
// hand throws NilObjectException; whatever was appended before stays.
void ReadType0(TextInputStream& stream, const FolderItem& folder, QVector<FirmRef>& into, const KeepGoing& keepGoing);
void ReadType1(TextInputStream& stream, const FolderItem& folder, QVector<FirmRef>& into, const KeepGoing& keepGoing);

// Gives a variant record the commands of the flash.sh in its folder under `folder`; a variant
// folder without one gets a script written from its image names for the time of the read.
void ReadFlashScript(FirmClass& record, const FolderItem& folder, const KeepGoing& keepGoing);
// Writes that script from the addresses in the image names beside `file`; false if there are
// none, one can't be named in a script line, or the file can't be written.
bool WriteFlashScript(const FolderItem& file, const KeepGoing& keepGoing);

// The manifest of the package made from a dropped image: `base` is the package's name, `image`
// the copy's file name, `stamp` the image's modification time.
QString PackageManifest(const QString& base, const QString& image, const QDateTime& stamp);

// The preset menu's text for a record.
QString PresetRow(const FirmClass& record);

} // namespace Catalogue

// What another part of the program asks of the catalogue: to add what the user opened or
// dropped, and to show the presets anew. EspWin implements it.
class CatalogueLoader {
public:
    // Adds the manifests below `folder`.
    virtual void LoadFirmJsonFolder(const FolderItem& folder, bool allowBin) = 0;
    // Adds one manifest, or with `allowBin` packages a single image.
    virtual void LoadFirmJsonFile(const FolderItem& file, bool allowBin) = 0;
    virtual void MakeFirmPrisetPM() = 0;

protected:
    ~CatalogueLoader() = default;
};
