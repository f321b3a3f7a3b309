#pragma once

// Firmware trees the benchmarks lay out: type 0 manifests of two entries each, in folders of
// ten, and type 1 manifests of two variants whose folders hold their own flash.sh.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QStringList>

namespace BenchTrees {

inline bool Write(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(path.left(path.lastIndexOf('/')));
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

inline QByteArray Type0Manifest(int folder, int file) {
    QByteArray text = "[\n";
    for (int entry = 0; entry < 2; ++entry) {
        const QByteArray name =
            QByteArray::number(folder) + "-" + QByteArray::number(file) + "-" + QByteArray::number(entry);
        text += "    {\n"
                "        \"name\": \"Firmware " +
                name +
                "\",\n"
                "        \"version\": \"1.0." +
                QByteArray::number(entry) +
                "\",\n"
                "        \"path\": \"images\",\n"
                "        \"commands\": [\n"
                "            \"--chip esp32 --port %port --baud %baud write_flash -z 0x1000 %PATH\\\\bootloader.bin "
                "0x10000 %PATH\\\\app-" +
                name +
                ".bin\"\n"
                "        ]\n"
                "    }" +
                (entry == 0 ? ",\n" : "\n");
    }
    return text + "]\n";
}

// Two variants: "script", and a second one in the folder named by `second`.
inline QByteArray Type1Manifest(int n, const QByteArray& second = "other") {
    const QByteArray name = "Firmware " + QByteArray::number(n);
    return "{\n"
           "    \"name\": \"" +
           name +
           "\",\n"
           "    \"description\": \"Bench\",\n"
           "    \"repository\": \"none\",\n"
           "    \"version\": \"1.0.0\",\n"
           "    \"firmware_category\": [\n"
           "        {\n"
           "            \"Script\": {\n"
           "                \"path\": \"script\",\n"
           "                \"device\": [\n"
           "                    \"Board\"\n"
           "                ],\n"
           "                \"default_baud\": 921600\n"
           "            }\n"
           "        },\n"
           "        {\n"
           "            \"Second\": {\n"
           "                \"path\": \"" +
           second +
           "\",\n"
           "                \"default_baud\": 460800\n"
           "            }\n"
           "        }\n"
           "    ],\n"
           "    \"framework\": \"Arduino\"\n"
           "}\n";
}

inline const QByteArray kScript = "#!/bin/bash\n"
                                  "esptool.py --chip esp32 --port /dev/${port} --baud 921600 write_flash -z \\\n"
                                  "--flash_mode dio --flash_freq 80m --flash_size detect \\\n"
                                  "0x1000 bootloader.bin \\\n"
                                  "0x8000 partitions.bin \\\n"
                                  "0x10000 app.bin\n"
                                  "\n";

// folders x perFolder type 0 manifests under root; the bytes written are added to *bytes.
inline bool WriteType0Tree(const QString& root, int folders, int perFolder, qint64* bytes = nullptr) {
    for (int folder = 0; folder < folders; ++folder) {
        const QString dir = QString("%1/folder%2").arg(root).arg(folder, 4, 10, QChar('0'));
        for (int file = 0; file < perFolder; ++file) {
            const QByteArray text = Type0Manifest(folder, file);
            if (!Write(QString("%1/manifest%2.json").arg(dir).arg(file, 2, 10, QChar('0')), text))
                return false;
            if (bytes)
                *bytes += text.size();
        }
    }
    return true;
}

// count type 1 manifests, each in a folder of its own with two variant folders that hold a
// flash.sh and three images.
inline bool WriteType1Tree(const QString& root, int count) {
    for (int n = 0; n < count; ++n) {
        const QString dir = QString("%1/fw%2").arg(root).arg(n, 4, 10, QChar('0'));
        if (!Write(dir + "/manifest.json", Type1Manifest(n)))
            return false;
        for (const char* variant : {"/script/", "/other/"}) {
            if (!Write(dir + variant + "flash.sh", kScript))
                return false;
            for (const char* image : {"bootloader.bin", "partitions.bin", "app.bin"})
                if (!Write(dir + variant + image, "image"))
                    return false;
        }
    }
    return true;
}

} // namespace BenchTrees
