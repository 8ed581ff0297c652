#include "shell/ZQRegistryScripts.h"

#include <cstdio>

#include "interfaces/ZQInterfaceDescription.h"
#include "zqplatform/objbase.h"
#include "zqplatform/oleauto.h"

namespace {

// Resource REGISTRY 101.
constexpr std::u16string_view kClassScript = uR"(HKCR
{
	%PROGID% = s '%NAME%'
	{
		CLSID = s '%CLSID%'
	}
	%VIPROGID% = s '%NAME%'
	{
		CLSID = s '%CLSID%'
		CurVer = s '%PROGID%'
	}
	NoRemove CLSID
	{
		ForceRemove %CLSID% = s '%NAME%'
		{
			ProgID = s '%PROGID%'
			VersionIndependentProgID = s '%VIPROGID%'
			ForceRemove Programmable
			InprocServer32 = s '%MODULE%'
			{
				val ThreadingModel = s 'Both'
			}
			TypeLib = s '%TYPELIB%'
		}
	}
}
)";

/// The platform's marshaller of interfaces described by a type library.
constexpr std::u16string_view kTypeLibraryMarshaller = u"{00020424-0000-0000-C000-000000000046}";

std::u16string GuidText(const GUID& guid) {
    char16_t text[40];
    StringFromGUID2(guid, text, 40);
    return text;
}

std::u16string Widen(const char* text) {
    std::u16string wide;
    for (; *text != 0; ++text)
        wide += static_cast<char16_t>(static_cast<unsigned char>(*text));
    return wide;
}

/// A script string: apostrophes doubled.
std::u16string Quoted(std::u16string_view text) {
    std::u16string quoted = u"'";
    for (char16_t c : text) {
        quoted += c;
        if (c == u'\'')
            quoted += u'\'';
    }
    return quoted + u"'";
}

std::u16string VersionText(const ZQTypeLibraryDescription& library) {
    return Widen((std::to_string(library.m_majorVersion) + "." + std::to_string(library.m_minorVersion)).c_str());
}

}  // namespace

std::u16string_view ZQClassRegistryScript() noexcept {
    return kClassScript;
}

std::u16string ZQTypeLibraryRegistryScript() {
    const ZQTypeLibraryDescription& library = ZQGetTypeLibraryDescription();
    std::u16string libid = GuidText(library.m_libid);
    std::u16string version = VersionText(library);
    // The locale key is the library's locale in hex, as the registry keeps it,
    // and below it the platform's key for its kind of library names the file.
    char localeText[16];
    std::snprintf(localeText, sizeof localeText, "%x", library.m_lcid);
    std::u16string locale = Widen(localeText);
    std::u16string script = u"HKCR\n{\n\tNoRemove TypeLib\n\t{\n\t\t" + Quoted(libid) + u"\n\t\t{\n";
    script += u"\t\t\tForceRemove " + Quoted(version) + u" = s " + Quoted(Widen(library.m_helpText)) + u"\n\t\t\t{\n";
    script += u"\t\t\t\t" + Quoted(locale) + u"\n\t\t\t\t{\n\t\t\t\t\t" + std::u16string(kZQTypeLibSystemKey) +
              u" = s '%MODULE%'\n\t\t\t\t}\n";
    script += u"\t\t\t\tFLAGS = s '0'\n\t\t\t\tHELPDIR = s '%HELPDIR%'\n\t\t\t}\n\t\t}\n\t}\n";
    script += u"\tNoRemove Interface\n\t{\n";
    for (const ZQInterfaceDescription* described : ZQGetInterfaceDescriptions()) {
        script += u"\t\tForceRemove " + Quoted(GuidText(described->m_iid)) + u" = s " +
                  Quoted(Widen(described->m_name)) + u"\n\t\t{\n";
        script += u"\t\t\tProxyStubClsid32 = s " + Quoted(kTypeLibraryMarshaller) + u"\n";
        script += u"\t\t\tTypeLib = s " + Quoted(libid) + u"\n\t\t\t{\n\t\t\t\tval Version = s " + Quoted(version) +
                  u"\n\t\t\t}\n\t\t}\n";
    }
    script += u"\t}\n}\n";
    return script;
}
