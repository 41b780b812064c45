#pragma once

#include <QByteArray>
#include <QColor>
#include <QRect>
#include <QString>

/** How libqpdf encrypts a document. */
enum class Encryption { Rc4_40, Rc4_128, Aes128, Aes256 };

/**
 * Makes an A4 document of which every page says its number, "Page 1" and so on, and shows a vector
 * drawing, a picture, and a patch in a colour of its own. Title "Sample".
 *
 * Needs a QGuiApplication.
 */
void MakeSamplePdf(const QString& path, int pages);

/** The colour of a page's patch, and where it lies on the page, in points from the top left. */
QColor SampleColour(int page);
inline constexpr QRect samplePatch{400, 60, 120, 60};

/** Encrypts a document. The passwords are taken as they are, byte by byte. */
void EncryptPdf(const QString& from, const QString& to, Encryption encryption,
                const QByteArray& userPassword, const QByteArray& ownerPassword);
