#include "bindings/SectionInfo.h"

namespace kelvara::bindings {

std::set<std::string> TSPECInfo::frt_section_names;

void TSPECInfo::FillFrtSectionNames() {
    static const char* const s_names[] = {
        "INTEHEAD", "LOGIHEAD", "DOUBHEAD", "HIDDEN",  "LGRHEADD", "LGRHEADI", "LGRHEADQ", "LGR",
        "ENDLGR",   "LGWEL",    "LGRNAMES", "SEQNUM",  "FIPFAMNA", "IGRP",     "SGRP",     "XGRP",
        "ZGRP",     "IWEL",     "SWEL",     "XWEL",    "ZWEL",     "XGRT",     "IGRT",     "XWET",
        "IWET",     "XCOT",     "ICON",     "ICOT",    "SCON",     "XCON",     "ISEG",     "RSEG",
        "ILBR",     "STARTSOL", "ENDSOL",   "LGRJOIN", "DLYTIM"};
    for (const char* name : s_names) frt_section_names.insert(name);
}

void TSPECInfo::AddSectionInfo(const std::shared_ptr<TSectionInfo>& p_info) {
    const std::string key = p_info->name;
    const bool frt = frt_section_names.count(std::string(key.c_str())) != 0;
    TSectionInfoMap& target = frt ? frt_sections : map_sections;
    target[key] = p_info;
}

}  // namespace kelvara::bindings
