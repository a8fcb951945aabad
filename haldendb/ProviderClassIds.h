// The class identifiers of the OLE DB providers the library can be told to use.
//
// The names carry the HDB_ prefix so that they never clash with the system's
// own declarations of the same providers on Windows. The provider table of
// CBaseOLEDBClass::GetProviderClassId maps the provider enumeration and the
// database type onto these.
#pragma once

#include "haldendb/Platform.h"

// The OLE DB provider for ODBC data sources; also the fallback of the table.
inline constexpr CLSID CLSID_HDB_MSDASQL = {
    0xC8B522CB, 0x5CF3, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};

// The OLE DB provider for SQL Server.
inline constexpr CLSID CLSID_HDB_SQLOLEDB = {
    0x0C7FF16C, 0x38E3, 0x11D0, {0x97, 0xAB, 0x00, 0xC0, 0x4F, 0xC2, 0xAD, 0x98}};

// SQL Server Native Client, unversioned.
inline constexpr CLSID CLSID_HDB_SQLNCLI = {
    0x85ECAFCC, 0xBDD9, 0x4B03, {0x97, 0xA8, 0xFA, 0x65, 0xCB, 0xE3, 0x85, 0x9B}};

// SQL Server Native Client 10.0.
inline constexpr CLSID CLSID_HDB_SQLNCLI10 = {
    0x8F4A6B68, 0x4F36, 0x4E3C, {0xBE, 0x81, 0xBC, 0x7C, 0xA4, 0xE9, 0xC4, 0x5C}};

// SQL Server Native Client 11.0.
inline constexpr CLSID CLSID_HDB_SQLNCLI11 = {
    0x397C2819, 0x8272, 0x4532, {0xAD, 0x3A, 0xFB, 0x5E, 0x43, 0xBE, 0xAA, 0x39}};

// The Oracle OLE DB provider.
inline constexpr CLSID CLSID_HDB_ORAOLEDB = {
    0x3F63C36E, 0x51A3, 0x11D2, {0xBB, 0x7D, 0x00, 0xC0, 0x4F, 0xA3, 0x00, 0x80}};

// The newer OLE DB driver for SQL Server.
inline constexpr CLSID CLSID_HDB_MSOLEDBSQL = {
    0xEE5DE99A, 0x4453, 0x4C96, {0x86, 0x1C, 0xF8, 0x83, 0x2A, 0x7F, 0x59, 0xFE}};

// The provider of enumeration value 5: the embedded database that the library
// reaches when nothing else is configured.
inline constexpr CLSID CLSID_HDB_EMBEDDED = {
    0xC86FB69E, 0x3664, 0x11D2, {0xA1, 0x12, 0x00, 0x10, 0x4B, 0xD1, 0x53, 0x72}};
