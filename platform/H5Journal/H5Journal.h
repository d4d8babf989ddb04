/** \file
 * A virtual file driver that makes HDF5 files crash-safe.
 *
 * A file opened through it holds exactly its last commit point, whatever happens to the process that writes
 * it. Nothing that HDF5 writes touches committed bytes before a record of the whole update stands in a
 * journal, `NAME-journal`, beside the file. A closed file is plain HDF5. README.md tells what is promised and
 * what it costs.
 *
 *     hid_t fapl = H5Pcreate(H5P_FILE_ACCESS);
 *     H5Pset_fapl_journal(fapl, NULL);
 *     hid_t file = H5Fopen("a.h5", H5F_ACC_RDWR, fapl);
 *     ... HDF5 calls ...
 *     H5Jcommit(file);
 *     H5Jclose(file);
 *
 * Conventions. Calls that return herr_t return a negative number when they fail, calls that return hid_t a
 * negative identifier, calls that return a pointer null; H5Jlast_error() says why. Texts end with a zero
 * byte. After fork() a child writes nothing through files of its parent.
 *
 * Threads: with a thread-safe HDF5 different files and holds may be used in different threads at the same
 * time, each in one at a time; with any other HDF5 one thread at a time calls HDF5 or this library.
 */
#ifndef H5JOURNAL_H
#define H5JOURNAL_H

#include <hdf5.h>
#include <stdint.h>

#if defined(__GNUC__)
#define H5J_API __attribute__((visibility("default")))
#else
#define H5J_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** What a commit point survives. */
typedef enum H5J_durability_t {
  H5J_NOTHING = 0, /**< no journal; for scratch files */
  H5J_PROCESS = 1, /**< the death of the process at any instant, a full disk, I/O errors */
  H5J_POWER = 2    /**< the loss of power as well; one sync a commit */
} H5J_durability_t;

#define H5J_OPTIONS_VERSION 1

/** How files are opened. Set `version` to H5J_OPTIONS_VERSION; zeros elsewhere but `durability` are the
 * defaults. */
typedef struct H5J_options_t {
  unsigned version;
  H5J_durability_t durability; /**< of a writer */
  hbool_t live;           /**< a reader beside a writer at work: it sees the last commit point at opening */
  unsigned waiting_time;  /**< milliseconds to wait for a file that another process holds */
  uint64_t memory_limit;  /**< bytes of changed pages kept in memory; 0: 32 MiB */
  uint64_t journal_limit; /**< bytes after which a journal is copied into the file; 0: 4 MiB */
} H5J_options_t;

/** Files opened with this access list go through the journal. Also fixes the close degree to strong.
 * \param options null: durability H5J_PROCESS and the defaults. */
H5J_API herr_t H5Pset_fapl_journal(hid_t fapl_id, const H5J_options_t* options);
/** \return negative when the list does not use this driver. */
H5J_API herr_t H5Pget_fapl_journal(hid_t fapl_id, H5J_options_t* options);
/** New files get a user block of 512 bytes for the mark, by which a file and its journal know each other.
 * A file without it is compared with a journal by its first 512 bytes only.
 * HDF5 refuses a user block smaller than the alignment of H5Pset_alignment() or the page of paged space: set
 * a larger one with H5Pset_userblock(), which takes the mark as well. Persistent free space (`persist` of
 * H5Pset_file_space_strategy) does not survive a death, and no commit takes it. */
H5J_API herr_t H5Pset_journal_mark(hid_t fcpl_id);
/** The driver's identifier. */
H5J_API hid_t H5FD_journal_init(void);
#define H5FD_JOURNAL (H5FD_journal_init())

/** Flushes the file and makes everything written since the last commit point permanent, all or nothing.
 * When it fails nothing of it counts. It may be tried again while H5Jget_info() says `may_commit`.
 * \return positive when it counts and nothing more can be committed before the file is opened again. */
H5J_API herr_t H5Jcommit(hid_t file_id);
/** Closes the file with everything open in it, and opens it again at its last commit point, or a live
 * reader's at the newest commit point of its writer. The lock is kept. Not for a file that had no commit
 * point yet. \return the new identifier; `file_id` is closed in any case. */
H5J_API hid_t H5Jrollback(hid_t file_id);
H5J_API hid_t H5Jrefresh(hid_t file_id);
/** Commits, closes the file with everything open in it, and brings its journal home.
 * H5Fclose() alone, exit() and death leave the last commit point.
 * \return negative when anything was lost, or the journal had to stay; the file is closed all the same. */
H5J_API herr_t H5Jclose(hid_t file_id);

/** How things stand with an open file. */
typedef struct H5J_info_t {
  uint64_t sequence;      /**< number of the last commit point in its writer's session; 0: none yet */
  uint64_t image_bytes;   /**< size of the file at it */
  uint64_t journal_bytes; /**< committed part of the journal */
  uint64_t generation;    /**< number of the journal that belongs to the file now; 0: none */
  hbool_t marked;         /**< the file has a mark; without it the weaker comparison holds */
  hbool_t is_new;         /**< no commit point yet: the file has no name */
  hbool_t may_commit;     /**< false after a failure since the last commit point: roll back or close */
  hbool_t poisoned;   /**< a sync has failed: nothing is written any more before the file is opened again */
  hbool_t forked;     /**< the file is the parent process's */
  char obstacle[256]; /**< why it may not commit; "" when it may */
} H5J_info_t;
H5J_API herr_t H5Jget_info(hid_t file_id, H5J_info_t* info);

/** How a file and the journal beside it stand to each other. */
typedef enum H5J_state_t {
  H5J_CLEAN = 0,   /**< no journal, or one that says nothing */
  H5J_HOT = 1,     /**< a journal that belongs to the file: of a writer at work, or of one that died */
  H5J_MISSING = 2, /**< the file says that a journal belongs to it, and it is not there */
  H5J_FOREIGN = 3, /**< a journal that was not written for this file, or not for what the file holds now */
  H5J_DAMAGED = 4, /**< a journal with commits behind a damaged place, or without a header that can be read */
  H5J_REFUSED = 5, /**< not to be trusted: owner, permissions, links, or not a regular file */
  H5J_UNREADABLE = 6 /**< reading failed */
} H5J_state_t;

/** What stands in the journal beside a file. */
typedef struct H5J_journal_t {
  H5J_state_t state;
  hbool_t exists;   /**< there is a file of the journal's name */
  hbool_t readable; /**< its header is valid, and what follows is known */
  hbool_t writer_at_work;
  uint64_t commits;          /**< whole ones that can be applied */
  uint64_t lost_commits;     /**< whole ones behind a damaged place, at least */
  uint64_t frames;           /**< pages of 4096 bytes in the commits that can be applied */
  uint64_t sequence;         /**< number of the last commit that can be applied */
  uint64_t image_bytes;      /**< size of the file after it */
  uint64_t journal_bytes;    /**< of the journal's file */
  uint64_t unfinished_bytes; /**< behind the last commit, of an update that was never finished */
  uint64_t damaged_at;       /**< offset in the journal of the damaged place, in state H5J_DAMAGED */
  uint64_t generation; /**< the journal's number; for H5J_MISSING that of the journal the file asks for */
  uint64_t process;    /**< of the writer */
  char host[64];       /**< of the writer */
  char name[256];      /**< of the journal, without its directory */
  char cause[512];     /**< what is wrong, "" when nothing is */
} H5J_journal_t;

/** Looks at the journal beside a file and writes nothing. \return negative when the file itself cannot be
 * read. */
H5J_API herr_t H5Jinspect(const char* name, H5J_journal_t* journal);
/** Of H5Jrecover(): apply a damaged journal up to the damaged place. */
#define H5J_UP_TO_DAMAGE 1u
/** Brings a dead writer's journal into its file and removes it, durably. Nothing to do is no failure.
 * Fails while a process has the file open.
 * \param flags 0, or H5J_UP_TO_DAMAGE. */
H5J_API herr_t H5Jrecover(const char* name, unsigned flags);
/** Gives up what the journal holds: removes it, and the file's claim to one that is missing.
 * The file may be damaged afterwards when only a part of the journal had been brought into it, or when its
 * commits wrote over space that earlier ones of it had left free.
 * A file that does not belong to the journal loses nothing. Fails while a process has the file open. */
H5J_API herr_t H5Jdiscard(const char* name);

/** Why the last call of this library failed in this thread, without the file's name; "" when none did.
 * Valid until the next call here. A message that is no failure (a journal that was set aside) stands there,
 * too, after a call that succeeded and begins with "note: ". */
H5J_API const char* H5Jlast_error(void);

/* For programs that look at a file before they trust it, or keep its lock over several openings. */

/** A file under its lock, between and around its openings by HDF5. */
typedef struct H5J_hold_t H5J_hold_t;

/** Takes a file's lock and reads its journal; writes nothing that another program sees.
 * \param flags as of H5Fopen and H5Fcreate: H5F_ACC_RDONLY, H5F_ACC_RDWR; H5F_ACC_TRUNC for a new file, which
 * replaces a closed HDF5 file or an empty file of that name at its first commit point; with H5F_ACC_EXCL
 * there must be none. */
H5J_API H5J_hold_t* H5Jhold(const char* name, unsigned flags, const H5J_options_t* options);
/** True when there is a dead writer's journal to bring home: H5Jview() shows the file as it then will be. */
H5J_API htri_t H5Jis_hot(const H5J_hold_t* hold);
/** Opens the file for reading as it is at its last commit point, to look at it; H5Fclose() it before
 * H5Jopen(). A child process made by fork() may call this, too. \param fapl_id with this driver. */
H5J_API hid_t H5Jview(H5J_hold_t* hold, hid_t fapl_id);
/** Opens the file, or creates it when the hold is on a new one. Brings the journal home first.
 * \param fcpl_id for new files. \param fapl_id with this driver. May be repeated after H5Jend(). */
H5J_API hid_t H5Jopen(H5J_hold_t* hold, hid_t fcpl_id, hid_t fapl_id);
/** Closes the HDF5 file with everything open in it; the hold stays.
 * \param file_id negative when there is none.
 * \param keep true: what HDF5 writes while it closes becomes one more commit; false: as at the last commit
 * point. \return negative when HDF5 could not close the file; it is cut off from it then. */
H5J_API herr_t H5Jend(H5J_hold_t* hold, hid_t file_id, hbool_t keep);
/** A live reader moves on to the newest commit point. After H5Jend(), before H5Jopen(). */
H5J_API herr_t H5Jmove_on(H5J_hold_t* hold);
/** As H5Jcommit and H5Jget_info; the latter without a file that is open, too. */
H5J_API herr_t H5Jcommit_held(H5J_hold_t* hold, hid_t file_id);
H5J_API herr_t H5Jget_hold_info(const H5J_hold_t* hold, H5J_info_t* info);
/** The operating system's descriptor of the main file, for mapping it into memory. It stays the driver's: it
 * is not to be closed, moved or written through, and ends with the hold. What it shows is the content only
 * while `journal_bytes` is 0 and nobody writes. \return -1 on failure. */
H5J_API int H5Jget_hold_descriptor(const H5J_hold_t* hold);
/** Brings the journal home and lets go of the file. \return negative when the journal had to stay. */
H5J_API herr_t H5Jrelease(H5J_hold_t* hold);

/* For processes that work on one file together: one has it open, the others help it to move much data. */

#define H5J_NAME_BYTES 4096
#define H5J_SECTOR_BYTES 512

/** What a helper must know to find a file, in a form that can be sent. */
typedef struct H5J_share_t {
  char name[H5J_NAME_BYTES];              /**< of the file at the moment */
  unsigned char sector[H5J_SECTOR_BYTES]; /**< its first bytes */
  hbool_t reads;                          /**< it is open for reading only */
  hbool_t live;                           /**< beside a writer */
  hbool_t power;                          /**< helpers sync what they have written, before they say so */
  uint64_t session;                       /**< of the process that has it open */
} H5J_share_t;
/** Tells what helpers must know. Good for helpers that come before the next commit point. */
H5J_API herr_t H5Jshare(H5J_hold_t* hold, H5J_share_t* share);

/** A helper's part in a file: a lock that keeps writers from it for as long as the helper may write. */
typedef struct H5J_help_t H5J_help_t;
/** Opens the file as a helper and looks whether it is the same one. Helpers come before anything is lent.
 * \param number of the helper, from 0; below 2^24. It is told to those whom it keeps waiting.
 * \return null when the file is not there, is another one, lies on a network file system, or has no locks:
 * this process cannot help then. */
H5J_API H5J_help_t* H5Jhelp(const H5J_share_t* share, unsigned number);
/** The helper has ended. */
H5J_API void H5Jend_help(H5J_help_t* help);

/** Lends an extent of the file that HDF5 has given to a dataset in this update, and into which nothing was
 * written: helpers write its whole pages straight into the file. Between this and H5Jtake_back() nothing is
 * committed, rolled back or closed; H5Jrelease() leaves the file as the end of the process does.
 * \param address of the extent in the file. \param count of its bytes.
 * \param first, end become the part that helpers write, in whole pages; the rest goes through H5Jput().
 * \return positive when it is lent; 0 when its space is not free of what somebody may still read: keep the
 * dataset and try with another one; negative on failure. */
H5J_API htri_t H5Jlend(H5J_hold_t* hold, uint64_t address, uint64_t count, uint64_t* first, uint64_t* end);
/** Writes bytes of a lent extent that helpers do not write. Refused for those that they do. */
H5J_API herr_t H5Jput(H5J_hold_t* hold, uint64_t address, uint64_t count, const void* bytes);
/** The helpers have ended.
 * \param good every byte of what was lent is written; otherwise the update cannot be committed.
 * \return negative when nothing was lent. */
H5J_API herr_t H5Jtake_back(H5J_hold_t* hold, hbool_t good);

/** Is given the address of a page and its 4096 bytes; negative ends it. */
typedef herr_t (*H5J_take_patch_t)(uint64_t address, const unsigned char* bytes, void* context);
/** Tells the pages of an extent that the file alone does not show: they stand in memory or in the journal.
 * Helpers that read the file put them over what they have read.
 * \param take is called for each of them, in their order. */
H5J_API herr_t H5Jpatches(H5J_hold_t* hold, uint64_t address, uint64_t count, H5J_take_patch_t take,
                          void* context);

/** An identity that a file without a mark carries in its content: its journals get it and are compared by it.
 * \param id 16 bytes; zeros: none. */
H5J_API herr_t H5Jset_identity(H5J_hold_t* hold, const unsigned char* id);
/** The identity in the journal that was found, zeros when there is none. \param id 16 bytes. */
H5J_API herr_t H5Jget_identity(const H5J_hold_t* hold, unsigned char* id);

/** XXH3 with 64 bits, the checksum of the journal. */
H5J_API uint64_t H5Jchecksum(const void* bytes, size_t count, uint64_t seed);
/** Bob Jenkins' lookup3, the checksum of HDF5's metadata. */
H5J_API uint32_t H5Jmetadata_checksum(const void* bytes, size_t count);

#ifdef __cplusplus
}
#endif

#endif
