#pragma once

#include "platform/FolderItem.h"

#include <QString>

#include <memory>

class TextOutputStream {
public:
    static std::unique_ptr<TextOutputStream> Create(const FolderItem& item);
    ~TextOutputStream();

    void Write(const QString& text);
    // The file is in place only once this returns true; until then the old one stands.
    bool Close();

private:
    struct File;
    explicit TextOutputStream(std::unique_ptr<File> file);
    std::unique_ptr<File> mFile;
};
