#include "platform/TextOutputStream.h"

#include <QSaveFile>

struct TextOutputStream::File {
    QSaveFile file;
};

TextOutputStream::TextOutputStream(std::unique_ptr<File> file) : mFile(std::move(file)) {}

TextOutputStream::~TextOutputStream() = default;

// The text goes to a new file beside the old one, which replaces it only once it is whole:
// a write that fails half way leaves the old file as it was.
std::unique_ptr<TextOutputStream> TextOutputStream::Create(const FolderItem& item) {
    if (item.IsNil() || item.Directory())
        return nullptr;
    auto file = std::make_unique<File>();
    file->file.setFileName(item.NativePath());
    if (!file->file.open(QIODevice::WriteOnly))
        return nullptr;
    return std::unique_ptr<TextOutputStream>(new TextOutputStream(std::move(file)));
}

void TextOutputStream::Write(const QString& text) {
    if (mFile && mFile->file.isOpen())
        mFile->file.write(text.toUtf8());
}

bool TextOutputStream::Close() {
    if (!mFile || !mFile->file.isOpen())
        return false;
    return mFile->file.commit();
}
