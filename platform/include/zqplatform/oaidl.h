// Automation types: VARIANT, DISPPARAMS, EXCEPINFO, IDispatch, ITypeInfo and
// ITypeLib with the descriptions they hand out (TYPEATTR, FUNCDESC, TLIBATTR).
#pragma once

#include "zqplatform/unknwn.h"

struct IDispatch;
struct ITypeInfo;
struct ITypeLib;
struct ITypeComp;
struct IRecordInfo;
struct SAFEARRAY;
struct VARDESC;
struct ARRAYDESC;
struct PARAMDESCEX;
using HREFTYPE = DWORD;
using DATE = double;

ZQ_DECLARE_INTERFACE_IID(IDispatch, 0x00020400, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
ZQ_DECLARE_INTERFACE_IID(ITypeInfo, 0x00020401, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
ZQ_DECLARE_INTERFACE_IID(ITypeLib, 0x00020402, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);

enum VARENUM : VARTYPE {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_CY = 6,
    VT_DATE = 7,
    VT_BSTR = 8,
    VT_DISPATCH = 9,
    VT_ERROR = 10,
    VT_BOOL = 11,
    VT_VARIANT = 12,
    VT_UNKNOWN = 13,
    VT_DECIMAL = 14,
    VT_I1 = 16,
    VT_UI1 = 17,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_UI8 = 21,
    VT_INT = 22,
    VT_UINT = 23,
    VT_VOID = 24,
    VT_HRESULT = 25,
    VT_PTR = 26,
    VT_USERDEFINED = 29,
    VT_ARRAY = 0x2000,
    VT_BYREF = 0x4000,
    VT_TYPEMASK = 0x0FFF,
};

struct CY {
    LONGLONG int64;
};

struct VARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        LONGLONG llVal;
        ULONGLONG ullVal;
        LONG lVal;
        ULONG ulVal;
        BYTE bVal;
        CHAR cVal;
        SHORT iVal;
        USHORT uiVal;
        INT intVal;
        UINT uintVal;
        float fltVal;
        double dblVal;
        VARIANT_BOOL boolVal;
        SCODE scode;
        CY cyVal;
        DATE date;
        BSTR bstrVal;
        IUnknown* punkVal;
        IDispatch* pdispVal;
        SAFEARRAY* parray;
        BYTE* pbVal;
        SHORT* piVal;
        LONG* plVal;
        LONGLONG* pllVal;
        float* pfltVal;
        double* pdblVal;
        VARIANT_BOOL* pboolVal;
        SCODE* pscode;
        BSTR* pbstrVal;
        IUnknown** ppunkVal;
        IDispatch** ppdispVal;
        VARIANT* pvarVal;
        PVOID byref;
        struct {
            PVOID pvRecord;
            IRecordInfo* pRecInfo;
        } brecVal;
    };
};
using VARIANTARG = VARIANT;

static_assert(sizeof(VARIANT) == 24, "VARIANT is 24 bytes on LP64");
static_assert(offsetof(VARIANT, llVal) == 8);
static_assert(offsetof(VARIANT, wReserved1) == 2 && offsetof(VARIANT, wReserved3) == 6);
static_assert(offsetof(VARIANT, bstrVal) == 8 && offsetof(VARIANT, brecVal.pRecInfo) == 16);
static_assert(sizeof(VARIANT_BOOL) == 2 && VARIANT_TRUE == -1);

struct DISPPARAMS {
    VARIANTARG* rgvarg;
    DISPID* rgdispidNamedArgs;
    UINT cArgs;
    UINT cNamedArgs;
};

struct EXCEPINFO {
    WORD wCode;
    WORD wReserved;
    BSTR bstrSource;
    BSTR bstrDescription;
    BSTR bstrHelpFile;
    DWORD dwHelpContext;
    PVOID pvReserved;
    HRESULT (*pfnDeferredFillIn)(EXCEPINFO*);
    SCODE scode;
};

inline constexpr WORD DISPATCH_METHOD = 0x1;
inline constexpr WORD DISPATCH_PROPERTYGET = 0x2;
inline constexpr WORD DISPATCH_PROPERTYPUT = 0x4;
inline constexpr WORD DISPATCH_PROPERTYPUTREF = 0x8;

inline constexpr DISPID DISPID_UNKNOWN = -1;
inline constexpr DISPID DISPID_VALUE = 0;
inline constexpr DISPID DISPID_PROPERTYPUT = -3;

inline constexpr LCID LOCALE_SYSTEM_DEFAULT = 0x800;
inline constexpr LCID LOCALE_USER_DEFAULT = 0x400;
inline constexpr LCID LOCALE_NEUTRAL = 0;

enum INVOKEKIND : int32_t {
    INVOKE_FUNC = 1,
    INVOKE_PROPERTYGET = 2,
    INVOKE_PROPERTYPUT = 4,
    INVOKE_PROPERTYPUTREF = 8,
};

inline constexpr MEMBERID MEMBERID_NIL = -1;

enum TYPEKIND : int32_t {
    TKIND_ENUM = 0,
    TKIND_RECORD = 1,
    TKIND_MODULE = 2,
    TKIND_INTERFACE = 3,
    TKIND_DISPATCH = 4,
    TKIND_COCLASS = 5,
    TKIND_ALIAS = 6,
    TKIND_UNION = 7,
};

inline constexpr WORD TYPEFLAG_FDUAL = 0x40;
inline constexpr WORD TYPEFLAG_FNONEXTENSIBLE = 0x80;
inline constexpr WORD TYPEFLAG_FOLEAUTOMATION = 0x100;

inline constexpr USHORT PARAMFLAG_NONE = 0x0;
inline constexpr USHORT PARAMFLAG_FIN = 0x1;
inline constexpr USHORT PARAMFLAG_FOUT = 0x2;
inline constexpr USHORT PARAMFLAG_FRETVAL = 0x8;

enum FUNCKIND : int32_t {
    FUNC_VIRTUAL = 0,
    FUNC_PUREVIRTUAL = 1,
    FUNC_NONVIRTUAL = 2,
    FUNC_STATIC = 3,
    FUNC_DISPATCH = 4,
};

enum CALLCONV : int32_t {
    CC_CDECL = 1,
    CC_STDCALL = 4,
};

enum SYSKIND : int32_t {
    SYS_WIN16 = 0,
    SYS_WIN32 = 1,
    SYS_MAC = 2,
    SYS_WIN64 = 3,
};

/// The type of a value: for VT_PTR what it points to (`lptdesc`), for
/// VT_USERDEFINED the type information it names (`hreftype`).
struct TYPEDESC {
    union {
        TYPEDESC* lptdesc;
        ARRAYDESC* lpadesc;
        HREFTYPE hreftype;
    };
    VARTYPE vt;
};

struct PARAMDESC {
    PARAMDESCEX* pparamdescex;
    USHORT wParamFlags;
};

struct IDLDESC {
    ULONG_PTR dwReserved;
    USHORT wIDLFlags;
};

struct ELEMDESC {
    TYPEDESC tdesc;
    union {
        IDLDESC idldesc;
        PARAMDESC paramdesc;
    };
};

struct FUNCDESC {
    MEMBERID memid;
    SCODE* lprgscode;
    ELEMDESC* lprgelemdescParam;
    FUNCKIND funckind;
    INVOKEKIND invkind;
    CALLCONV callconv;
    SHORT cParams;
    SHORT cParamsOpt;
    SHORT oVft;
    SHORT cScodes;
    ELEMDESC elemdescFunc;
    WORD wFuncFlags;
};

struct TYPEATTR {
    GUID guid;
    LCID lcid;
    DWORD dwReserved;
    MEMBERID memidConstructor;
    MEMBERID memidDestructor;
    LPOLESTR lpstrSchema;
    ULONG cbSizeInstance;
    TYPEKIND typekind;
    WORD cFuncs;
    WORD cVars;
    WORD cImplTypes;
    WORD cbSizeVft;
    WORD cbAlignment;
    WORD wTypeFlags;
    WORD wMajorVerNum;
    WORD wMinorVerNum;
    TYPEDESC tdescAlias;
    IDLDESC idldescType;
};

struct TLIBATTR {
    GUID guid;
    LCID lcid;
    SYSKIND syskind;
    WORD wMajorVerNum;
    WORD wMinorVerNum;
    WORD wLibFlags;
};

static_assert(sizeof(TYPEDESC) == 16 && sizeof(ELEMDESC) == 32);
static_assert(sizeof(FUNCDESC) == 88 && sizeof(TYPEATTR) == 96 && sizeof(TLIBATTR) == 32);

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

struct IDispatch : IUnknown {
    virtual HRESULT GetTypeInfoCount(UINT* pctinfo) = 0;
    virtual HRESULT GetTypeInfo(UINT iTInfo, LCID lcid, ITypeInfo** ppTInfo) = 0;
    virtual HRESULT GetIDsOfNames(REFIID riid, LPOLESTR* rgszNames, UINT cNames, LCID lcid, DISPID* rgDispId) = 0;
    virtual HRESULT Invoke(DISPID dispIdMember, REFIID riid, LCID lcid, WORD wFlags, DISPPARAMS* pDispParams,
                           VARIANT* pVarResult, EXCEPINFO* pExcepInfo, UINT* puArgErr) = 0;
};

/// The platform's type information interface in its usual method order.
/// Clients may rely on its IUnknown part only; the rest answers what the
/// module's static description can tell.
struct ITypeInfo : IUnknown {
    virtual HRESULT GetTypeAttr(TYPEATTR** ppTypeAttr) = 0;
    virtual HRESULT GetTypeComp(ITypeComp** ppTComp) = 0;
    virtual HRESULT GetFuncDesc(UINT index, FUNCDESC** ppFuncDesc) = 0;
    virtual HRESULT GetVarDesc(UINT index, VARDESC** ppVarDesc) = 0;
    virtual HRESULT GetNames(MEMBERID memid, BSTR* rgBstrNames, UINT cMaxNames, UINT* pcNames) = 0;
    virtual HRESULT GetRefTypeOfImplType(UINT index, HREFTYPE* pRefType) = 0;
    virtual HRESULT GetImplTypeFlags(UINT index, INT* pImplTypeFlags) = 0;
    virtual HRESULT GetIDsOfNames(LPOLESTR* rgszNames, UINT cNames, MEMBERID* pMemId) = 0;
    virtual HRESULT Invoke(PVOID pvInstance, MEMBERID memid, WORD wFlags, DISPPARAMS* pDispParams,
                           VARIANT* pVarResult, EXCEPINFO* pExcepInfo, UINT* puArgErr) = 0;
    virtual HRESULT GetDocumentation(MEMBERID memid, BSTR* pBstrName, BSTR* pBstrDocString,
                                     DWORD* pdwHelpContext, BSTR* pBstrHelpFile) = 0;
    virtual HRESULT GetDllEntry(MEMBERID memid, INVOKEKIND invKind, BSTR* pBstrDllName, BSTR* pBstrName,
                                WORD* pwOrdinal) = 0;
    virtual HRESULT GetRefTypeInfo(HREFTYPE hRefType, ITypeInfo** ppTInfo) = 0;
    virtual HRESULT AddressOfMember(MEMBERID memid, INVOKEKIND invKind, PVOID* ppv) = 0;
    virtual HRESULT CreateInstance(IUnknown* pUnkOuter, REFIID riid, PVOID* ppvObj) = 0;
    virtual HRESULT GetMops(MEMBERID memid, BSTR* pBstrMops) = 0;
    virtual HRESULT GetContainingTypeLib(ITypeLib** ppTLib, UINT* pIndex) = 0;
    virtual void ReleaseTypeAttr(TYPEATTR* pTypeAttr) = 0;
    virtual void ReleaseFuncDesc(FUNCDESC* pFuncDesc) = 0;
    virtual void ReleaseVarDesc(VARDESC* pVarDesc) = 0;
};

/// A type library in its usual method order: the type information of its
/// entries by index or identifier, and its own attributes.
struct ITypeLib : IUnknown {
    virtual UINT GetTypeInfoCount() = 0;
    virtual HRESULT GetTypeInfo(UINT index, ITypeInfo** ppTInfo) = 0;
    virtual HRESULT GetTypeInfoType(UINT index, TYPEKIND* pTKind) = 0;
    virtual HRESULT GetTypeInfoOfGuid(REFGUID guid, ITypeInfo** ppTinfo) = 0;
    virtual HRESULT GetLibAttr(TLIBATTR** ppTLibAttr) = 0;
    virtual HRESULT GetTypeComp(ITypeComp** ppTComp) = 0;
    virtual HRESULT GetDocumentation(INT index, BSTR* pBstrName, BSTR* pBstrDocString, DWORD* pdwHelpContext,
                                     BSTR* pBstrHelpFile) = 0;
    virtual HRESULT IsName(LPOLESTR szNameBuf, ULONG lHashVal, BOOL* pfName) = 0;
    virtual HRESULT FindName(LPOLESTR szNameBuf, ULONG lHashVal, ITypeInfo** ppTInfo, MEMBERID* rgMemId,
                             USHORT* pcFound) = 0;
    virtual void ReleaseTLibAttr(TLIBATTR* pTLibAttr) = 0;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

static_assert(sizeof(DISPPARAMS) == 24);
static_assert(offsetof(DISPPARAMS, rgdispidNamedArgs) == 8 && offsetof(DISPPARAMS, cArgs) == 16 &&
              offsetof(DISPPARAMS, cNamedArgs) == 20);
static_assert(sizeof(EXCEPINFO) == 64 && offsetof(EXCEPINFO, bstrSource) == 8 && offsetof(EXCEPINFO, scode) == 56 &&
              offsetof(EXCEPINFO, pfnDeferredFillIn) == 48 && offsetof(EXCEPINFO, dwHelpContext) == 32);
