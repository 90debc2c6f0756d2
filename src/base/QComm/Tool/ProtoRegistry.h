// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QString>

/// \brief Makes a program the handler of a URL scheme for the current user. Windows only.
///
/// What it writes for the scheme "pelorhub", below HKEY_CURRENT_USER\\SOFTWARE\\Classes:
///
/// \code
///   pelorhub                       "URL Protocol" = "pelorhub" (text), "UseOriginalUrlEncoding" = 1 (number)
///   pelorhub\shell\open\command    default value  = "C:\Games\launcher.exe" "--url=%1"   (with these quotes)
/// \endcode
///
/// so that the shell starts the program with one argument, made of --url= and the whole URL. The objects hold
/// nothing. Registry writes that fail are not reported.
class QCOMM_EXPORT ProtoRegistry
{
public:
    /// \brief A scheme and the program that handles its URLs.
    struct Schema
    {
        QString appPath;  ///< full path of the program, without quotes; slashes of either kind
        QString protocol; ///< name of the scheme, such as "pelorhub"; also the name of its registry key
    };

    static const QString kRootPath;               ///< "HKEY_CURRENT_USER\SOFTWARE\Classes"
    static const QString kCommandSubPath;         ///< "\shell\open\command"
    static const QString kUrlProtocol;            ///< value name "URL Protocol"
    static const QString kUseOriginalUrlEncoding; ///< value name "UseOriginalUrlEncoding"
    static const QString kDefault;                ///< "Default", a key's default value
    static const QString kUrlArgument;            ///< "--url=%1", stored in double quotes
    static const QString kPelorhubCommandPath;    ///< the whole path of the command key of "pelorhub"

    /// \brief Registers the program, replacing whatever program had the scheme.
    ///
    /// Writes nothing when the scheme has entries already and its command begins with this program. That looks
    /// at the command up to its first blank only: an argument that changed is left as it is, and a program
    /// whose path holds a blank is written anew by every call. A scheme without a name is not registered.
    void Register(const Schema& schema);

    /// \brief Removes all values and subkeys of the scheme's key, whichever program wrote them. The key itself
    /// stays, empty. A scheme without a name is left alone.
    void UnRegister(const Schema& schema);

    /// \brief Always true; the registry is not looked at. Kept for launchers that ask.
    bool CheckProtoRegistry();
};
