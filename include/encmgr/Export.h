/* Everything is compiled with hidden visibility; these marks name what leaves a shared library. */
#ifndef ENCMGR_EXPORT_H
#define ENCMGR_EXPORT_H

#define ENCMGR_API __attribute__((visibility("default")))
/* A member of an exported class that stays inside. */
#define ENCMGR_LOCAL __attribute__((visibility("hidden")))

#endif /* ENCMGR_EXPORT_H */
