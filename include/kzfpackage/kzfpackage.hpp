// Everything a client of libqlkzfpackage needs: the package, its entries, settings and errors.
#pragma once

#include <fl/i18n/DeployedException.hpp>
#include <fl/i18n/ustring.hpp>
#include <kzfdatainterfaces/KZFByteArray.hpp>
#include <kzfdatainterfaces/KZFFileReaderFactory.hpp>
#include <kzfdatainterfaces/KZFMetaData.hpp>
#include <kzfdatainterfaces/KZFReaderFactoryHandle.hpp>
#include <kzfdatainterfaces/KZFRecordData.hpp>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <kzfpackage/KZFManifestReferenceManager.hpp>
#include <kzfpackage/KZFPackage.hpp>
#include <kzfpackage/KZFSettings.hpp>
#include <kzfpackage/KZFSettingsSerializer.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <kzfpackage/Verbose.hpp>
#include <kzfpackage/Version.hpp>
#include <opc/model/CoreProperties.hpp>
