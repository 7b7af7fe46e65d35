#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace kelvara::bindings {

// What the host knows of one section of a run: where it lies, in which file, of what type and
// how long. The limits start inverted, the sign of having none.
struct TSectionInfo {
    std::string name;
    std::string filename;
    std::string type;
    std::int32_t address = 0;
    std::int32_t items_count = 0;
    double lower_limit = 1.0;
    double upper_limit = -1.0;
};

// Records by section name, in byte order of the names; a name occurs once.
struct TSectionInfoMap : std::map<std::string, std::shared_ptr<TSectionInfo>> {};

// The host's section store: the sections of the fixed set of frt_section_names, a map the host
// fills itself, and all other sections.
struct TSPECInfo {
    TSectionInfoMap frt_sections;
    TSectionInfoMap tab_sections;
    TSectionInfoMap map_sections;

    // Files p_info under its name in frt_sections when the name (up to its first NUL) is one of
    // frt_section_names, in map_sections otherwise; a former record of that name is replaced.
    void AddSectionInfo(const std::shared_ptr<TSectionInfo>& p_info);

    // The 37 names held apart, shared by all stores; filled once by FillFrtSectionNames.
    static std::set<std::string> frt_section_names;
    static void FillFrtSectionNames();
};

}  // namespace kelvara::bindings
