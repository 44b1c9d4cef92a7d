#pragma once

/// One page of a section: its title and the name of the creator slot that builds it,
/// `TPage* CreateXxxPage(const QString& title)`. A list ends with an entry whose title is null or empty.
struct TSectionPageEntry
{
    const char* title;
    const char* creator;
};

/// One section of the left panel, as constant data the main window defines. `features` names the
/// device features the section needs, separated by "," (empty: always offered). A table ends with an
/// entry whose title is null or empty.
struct TSectionEntry
{
    const char* title;
    const char* icon;
    const char* features;
    const TSectionPageEntry* pages;
};
