#include "interfaces/CZQTypeInfo.h"

#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

#include "interfaces/tests/DispatchTestObjects.h"
#include "tests/support/HResultAssertions.h"
#include "zqplatform/comptr.h"

namespace zqtest {
namespace {

std::u16string Widen(std::string_view text) {
    return std::u16string(text.begin(), text.end());
}

std::u16string WithCase(std::string_view text, int (*convert)(int)) {
    std::u16string result;
    for (char c : text)
        result.push_back(static_cast<char16_t>(convert(static_cast<unsigned char>(c))));
    return result;
}

int Same(int c) {
    return c;
}

int Upper(int c) {
    return std::toupper(c);
}

int Lower(int c) {
    return std::tolower(c);
}

/// One member of one interface of the description.
struct MemberCase {
    const ZQInterfaceDescription* interfaceDescription;
    const ZQMemberDescription* member;
};

std::vector<MemberCase> AllMembers() {
    std::vector<MemberCase> cases;
    for (const ZQInterfaceDescription* description : ZQGetInterfaceDescriptions()) {
        for (const ZQMemberDescription& member : description->Members())
            cases.push_back({description, &member});
    }
    return cases;
}

std::string CaseName(const ::testing::TestParamInfo<MemberCase>& info) {
    const char* kinds[] = {"", "", "Get", "", "Put", "", "", "", "PutRef"};
    return std::string(info.param.interfaceDescription->m_name) + "_" + kinds[info.param.member->m_kind] +
           info.param.member->m_name;
}

class MemberTest : public ::testing::TestWithParam<MemberCase> {
protected:
    void SetUp() override {
        ASSERT_OK(CZQTypeInfo::GetShared(Param().interfaceDescription->m_iid, &m_typeInfo));
    }

    const MemberCase& Param() const { return GetParam(); }
    const ZQMemberDescription& Member() const { return *GetParam().member; }

    HRESULT IdOf(std::u16string name, DISPID* id) {
        LPOLESTR names[] = {name.data()};
        return m_typeInfo->GetIDsOfNames(names, 1, id);
    }

    CZQTypeInfo* m_typeInfo = nullptr;
};

TEST_P(MemberTest, MemberAndItsParametersResolveByNameInAnyCase) {
    for (int (*convert)(int) : {&Same, &Upper, &Lower}) {
        DISPID id = 0;
        ASSERT_OK(IdOf(WithCase(Member().m_name, convert), &id));
        EXPECT_EQ(Member().m_dispid, id);
    }
    std::u16string memberName = Widen(Member().m_name);
    for (UINT p = 0; p < Member().InParamCount(); ++p) {
        const char* paramName = Member().m_params[p].m_name;
        if (!paramName)
            continue;
        std::u16string name = WithCase(paramName, &Upper);
        LPOLESTR names[] = {memberName.data(), name.data()};
        DISPID ids[2] = {};
        ASSERT_OK(m_typeInfo->GetIDsOfNames(names, 2, ids));
        EXPECT_EQ(static_cast<DISPID>(p), ids[1]) << paramName;
    }
}

TEST_P(MemberTest, DocumentationIdsAndParameterInterfacesAgreeWithTheTable) {
    BSTR name = nullptr;
    BSTR help = nullptr;
    ASSERT_OK(m_typeInfo->GetDocumentation(Member().m_dispid, &name, &help, nullptr, nullptr));
    EXPECT_EQ(Widen(Member().m_name), FromBstr(name));
    EXPECT_EQ(Widen(Member().m_helpText), FromBstr(help));
    SysFreeString(name);
    SysFreeString(help);
    std::string expectedWord = Member().m_kind == INVOKE_FUNC ? "method " : "property ";
    std::string helpText = Member().m_helpText;
    ASSERT_EQ(0u, helpText.find(expectedWord));
    EXPECT_EQ(WithCase(Member().m_name, &Lower), WithCase(helpText.substr(expectedWord.size()), &Lower));

    if (Param().interfaceDescription->m_flags & ZQInterface_Dual) {
        EXPECT_GE(Member().m_dispid, 1);
        EXPECT_LE(Member().m_dispid, static_cast<DISPID>(Param().interfaceDescription->m_memberCount));
    }
    for (const ZQParamDescription& param : Member().Params()) {
        bool isInterface = param.m_vt == VT_UNKNOWN || param.m_vt == VT_DISPATCH;
        EXPECT_EQ(isInterface, param.m_iid != nullptr) << param.m_typeName;
        if (isInterface) {
            EXPECT_NE(nullptr, ZQFindInterfaceDescription(*param.m_iid)) << param.m_typeName;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryMember, MemberTest, ::testing::ValuesIn(AllMembers()), CaseName);

class TypeInfoTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_OK(CZQTypeInfo::GetShared(IID_IZQSubtitleCue, &m_cue)); }

    CZQTypeInfo* m_cue = nullptr;
};

TEST_F(TypeInfoTest, UnknownNamesResolveToUnknownIds) {
    OLECHAR start[] = u"Start", bogus[] = u"Bogus", empty[] = u"";
    LPOLESTR names[] = {start, bogus};
    DISPID ids[2] = {0, 0};
    EXPECT_HR(DISP_E_UNKNOWNNAME, m_cue->GetIDsOfNames(names, 2, ids));
    EXPECT_EQ(1, ids[0]);
    EXPECT_EQ(DISPID_UNKNOWN, ids[1]);

    // A prefix or an empty name is not a member.
    OLECHAR prefix[] = u"Star";
    for (LPOLESTR name : {bogus, empty, prefix}) {
        DISPID id = 0;
        EXPECT_HR(DISP_E_UNKNOWNNAME, m_cue->GetIDsOfNames(&name, 1, &id));
        EXPECT_EQ(DISPID_UNKNOWN, id);
    }
    EXPECT_HR(E_INVALIDARG, m_cue->GetIDsOfNames(names, 0, ids));
    EXPECT_HR(E_INVALIDARG, m_cue->GetIDsOfNames(names, 1, nullptr));
}

TEST_F(TypeInfoTest, GetNamesListsTheMemberAndItsPassedParameters) {
    CZQTypeInfo* dmx = nullptr;
    ASSERT_OK(CZQTypeInfo::GetShared(IID_IZQDmxSubtitle, &dmx));
    BSTR names[4] = {};
    UINT count = 0;
    ASSERT_OK(dmx->GetNames(4, names, 4, &count));
    ASSERT_EQ(3u, count);
    EXPECT_EQ(u"SelectTrack", FromBstr(names[0]));
    EXPECT_EQ(u"trackid", FromBstr(names[1]));
    EXPECT_EQ(u"Selected", FromBstr(names[2]));
    for (UINT i = 0; i < count; ++i)
        SysFreeString(names[i]);

    // A retval has no name to give; the list is cut at the caller's room.
    ASSERT_OK(dmx->GetNames(5, names, 4, &count));
    ASSERT_EQ(1u, count);
    EXPECT_EQ(u"Callback", FromBstr(names[0]));
    SysFreeString(names[0]);
    ASSERT_OK(dmx->GetNames(4, names, 1, &count));
    EXPECT_EQ(1u, count);
    SysFreeString(names[0]);

    EXPECT_HR(TYPE_E_ELEMENTNOTFOUND, dmx->GetNames(42, names, 4, &count));
    EXPECT_EQ(0u, count);
}

TEST_F(TypeInfoTest, DocumentsTheInterfaceAndAnswersOnlyItsOwnInterfaces) {
    BSTR name = nullptr, help = nullptr, file = reinterpret_cast<BSTR>(&name);
    DWORD context = 7;
    ASSERT_OK(m_cue->GetDocumentation(-1, &name, &help, &context, &file));
    EXPECT_EQ(u"IZQSubtitleCue", FromBstr(name));
    EXPECT_EQ(u"IZQSubtitleCue Interface", FromBstr(help));
    EXPECT_EQ(0u, context);
    EXPECT_EQ(nullptr, file);
    SysFreeString(name);
    SysFreeString(help);
    EXPECT_HR(TYPE_E_ELEMENTNOTFOUND, m_cue->GetDocumentation(42, &name, nullptr, nullptr, nullptr));

    CComPtr<IUnknown> unknown;
    EXPECT_OK(m_cue->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown)));
    EXPECT_EQ(static_cast<IUnknown*>(m_cue), unknown.Get());
    void* other = &unknown;
    EXPECT_HR(E_NOINTERFACE, m_cue->QueryInterface(IID_IDispatch, &other));
    EXPECT_EQ(nullptr, other);
}

// What a browsing tool reads: the library from any interface's information,
// each interface's attributes, and each member as the vtable has it.
TEST_F(TypeInfoTest, LibraryListsTheInterfacesAndDescribesEachMember) {
    CComPtr<ITypeLib> library;
    UINT index = 99;
    ASSERT_OK(m_cue->GetContainingTypeLib(&library, &index));
    const auto descriptions = ZQGetInterfaceDescriptions();
    ASSERT_EQ(descriptions.size(), library->GetTypeInfoCount());
    EXPECT_EQ(m_cue, [&] {
        CComPtr<ITypeInfo> info;
        EXPECT_OK(library->GetTypeInfo(index, &info));
        return static_cast<ITypeInfo*>(info.Get());
    }());
    TLIBATTR* libAttr = nullptr;
    ASSERT_OK(library->GetLibAttr(&libAttr));
    EXPECT_EQ(LIBID_ZQSubtitleLib, libAttr->guid);
    EXPECT_EQ(1, libAttr->wMajorVerNum);
    library->ReleaseTLibAttr(libAttr);
    BSTR name = nullptr;
    ASSERT_OK(library->GetDocumentation(-1, &name, nullptr, nullptr, nullptr));
    EXPECT_EQ(u"ZQSubtitleLib", FromBstr(name));
    SysFreeString(name);

    CComPtr<ITypeInfo> mux;
    ASSERT_OK(library->GetTypeInfoOfGuid(IID_IZQMuxSubtitle, &mux));
    TYPEATTR* attr = nullptr;
    ASSERT_OK(mux->GetTypeAttr(&attr));
    const ZQInterfaceDescription& described = *ZQFindInterfaceDescription(IID_IZQMuxSubtitle);
    EXPECT_EQ(IID_IZQMuxSubtitle, attr->guid);
    EXPECT_EQ(TKIND_DISPATCH, attr->typekind);
    EXPECT_EQ(described.m_memberCount, attr->cFuncs);
    EXPECT_TRUE(attr->wTypeFlags & TYPEFLAG_FDUAL);
    mux->ReleaseTypeAttr(attr);

    // get_Tracks: one [out, retval] IZQSubtitleTrackList**, an interface of
    // the library named through its type information.
    FUNCDESC* func = nullptr;
    ASSERT_OK(mux->GetFuncDesc(0, &func));
    EXPECT_EQ(described.m_members[0].m_dispid, func->memid);
    EXPECT_EQ(INVOKE_PROPERTYGET, func->invkind);
    EXPECT_EQ(VT_HRESULT, func->elemdescFunc.tdesc.vt);
    EXPECT_EQ(7 * 8, func->oVft) << "behind IDispatch's seven slots";
    ASSERT_EQ(1, func->cParams);
    const ELEMDESC& param = func->lprgelemdescParam[0];
    EXPECT_EQ(PARAMFLAG_FOUT | PARAMFLAG_FRETVAL, param.paramdesc.wParamFlags);
    ASSERT_EQ(VT_PTR, param.tdesc.vt);
    ASSERT_EQ(VT_PTR, param.tdesc.lptdesc->vt);
    ASSERT_EQ(VT_USERDEFINED, param.tdesc.lptdesc->lptdesc->vt);
    CComPtr<ITypeInfo> referenced;
    ASSERT_OK(mux->GetRefTypeInfo(param.tdesc.lptdesc->lptdesc->hreftype, &referenced));
    ASSERT_OK(referenced->GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr));
    EXPECT_EQ(u"IZQSubtitleTrackList", FromBstr(name));
    SysFreeString(name);
    mux->ReleaseFuncDesc(func);
    EXPECT_HR(TYPE_E_ELEMENTNOTFOUND, mux->GetFuncDesc(described.m_memberCount, &func));
    EXPECT_HR(TYPE_E_ELEMENTNOTFOUND, library->GetTypeInfo(library->GetTypeInfoCount(), &referenced));
}

TEST(TypeInfoLifetimeTest, AnOwnTypeInfoIsDeletedAtItsLastRelease) {
    ITypeInfo* typeInfo = nullptr;
    ASSERT_OK(CZQTypeInfo::Create(*ZQFindInterfaceDescription(IID_IZQSubtitleTrack), &typeInfo));
    EXPECT_EQ(2u, typeInfo->AddRef());
    EXPECT_EQ(1u, typeInfo->Release());
    EXPECT_EQ(0u, typeInfo->Release());
}

TEST(InterfaceDescriptionTest, FollowsTheLibraryOrderAndLeavesOutHostInterfaces) {
    std::vector<const ZQInterfaceDescription*> fromLibrary;
    for (const ZQTypeLibraryEntry& entry : ZQGetTypeLibraryDescription().Entries()) {
        if (entry.m_kind == ZQTypeLibraryEntryKind::Interface)
            fromLibrary.push_back(entry.m_interfaceDescription);
    }
    auto listed = ZQGetInterfaceDescriptions();
    EXPECT_EQ(fromLibrary, std::vector<const ZQInterfaceDescription*>(listed.begin(), listed.end()));
    for (const ZQInterfaceDescription* description : listed)
        EXPECT_EQ(description, ZQFindInterfaceDescription(description->m_iid));

    for (const IID* iid : {&IID_IZQMuxSubtitleControl, &IID_IZQDmxSubtitleControl, &IID_IZQMuxSubtitleControlCallback,
                           &IID_IUnknown, &IID_IDispatch}) {
        EXPECT_EQ(nullptr, ZQFindInterfaceDescription(*iid));
        CZQTypeInfo* typeInfo = reinterpret_cast<CZQTypeInfo*>(1);
        EXPECT_HR(TYPE_E_ELEMENTNOTFOUND, CZQTypeInfo::GetShared(*iid, &typeInfo));
        EXPECT_EQ(nullptr, typeInfo);
    }
}

}  // namespace
}  // namespace zqtest
