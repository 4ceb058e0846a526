/// The file object: one open data file, its lock and its operations. Start here.
///
/// Failures are reported by result codes (ResultCode.h, docs/result-codes.md), not by exceptions; only evaluate throws
/// them.
#pragma once
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "ByteStream.h"
#include "EngineCatalogue.h"
#include "Estimate.h"
#include "ParameterMetadata.h"
#include "ResultCode.h"
#include "Variant.h"
#include "orbfileaccess_export.h"

namespace com::norvale::orb {

/// Parameter values by parameter code. Operations walk it in ascending order of codes.
using ParameterMap = std::map<unsigned int, datatypes::Variant>;

/// Points of a calibration: `first` is the position (its uncertainty is not used), `second` the quantity there.
using CalibrationPoints = std::vector<std::pair<datatypes::Estimate<float>, datatypes::Estimate<float>>>;

/// What executeSequence did in one step.
struct StepReport {
  std::uint16_t step = 0;    ///< from 1
  std::string engine;        ///< name of the engine
  double seconds = 0;        ///< loading and release included
  std::uint32_t result = 0;  ///< of execute
};

/// Receives the report of a step, in the thread that runs the sequence, with the file's lock held.
using StepObserver = std::function<void(const StepReport&)>;

/// Carries out a step in place of execute: entry point of the engine, path of its library, number of the step. Gives
/// the result code. It runs in the thread that runs the sequence, with the file's lock held; when it comes back the
/// file is open as before.
using StepRunner =
    std::function<std::uint32_t(const std::string& fnc, const std::string& resource, std::uint16_t step)>;

/// The path that the data-file service is given for a file name: the name as it is.
ORBFILEACCESS_EXPORT std::string makeFullPath(const std::string& name);

/// One data file, opened by name or by taking over a service handle.
///
/// A value is addressed by its parameter code (class in the upper 16 bits), a record number and an entry number; 0
/// means "not indexed". Where an operation takes a code for a whole block, a bare class number will do as well.
///
/// Common to all operations, and not said again below:
/// - The result is 0, or a result code. A status of the service is answered as convertReturnCode makes it.
/// - "Logs" means one line of priority err under "FileAccess::" and the operation's name, with the code that is
///   returned. The text begins with "File: NAME. ", or with "File: (unknown). " for a file without a name. A failure
///   for which no line is named is not logged.
/// - On an object without an open file an operation logs "File is not open" and returns kFileNotOpen, unless another
///   text or code is named.
/// - "Modifies" means that hasBeenModified() is true afterwards, whether or not the operation succeeded, provided
///   that it found a file open.
///
/// @threads Operations hold the object's recursive lock from entry to return unless they say "takes no lock", so
///          several threads may share an object. mutex() holds the lock across several calls. Operations that take no
///          lock read the handle or the name: they need the lock held by the caller while another thread may open,
///          close or attach. hasBeenModified and setModified need nothing. With two objects the source is locked
///          before the destination; do not copy in both directions at once. A lock that cannot be had throws
///          std::system_error.
class ORBFILEACCESS_EXPORT FileAccess {
 public:
  /// An object without a file. The schema is the environment variable ORBDB, "orbdb.dat" when it is not set.
  FileAccess();
  /// An object around a handle that somebody else opened. The object never closes it; null means no file.
  explicit FileAccess(void* hdl);
  /// Closes an open file and drops what was not flushed; an attached handle is only forgotten. Never throws.
  ~FileAccess();
  FileAccess(const FileAccess&) = delete;
  FileAccess& operator=(const FileAccess&) = delete;

  // ---- Open and close -------------------------------------------------------------------------------------

  /// Takes over a handle that somebody else opened; close will only forget it. An open file of this object is not
  /// closed: its handle is replaced. Without an open file, close(NOFLUSH) is called first, which logs for an object
  /// that was not attached. Name and modified flag stay.
  void attach(void* v);

  /// Opens or creates a data file. The name, as given, becomes name().
  /// @param Name  path of the file
  /// @param Op    READONLY, READWRITE, or CREATE (alone or with READWRITE) for a new file
  /// @return 0; kBadArgument for an empty name; kWrongOpenState when a file is open already, which stays as it is;
  ///         the service's status. Logs, without the "File: " prefix, "File name is NUL", "Cannot open: NAME because
  ///         this instance already has a file open." or "Failed to open: PATH".
  std::uint32_t open(const std::string& Name, OpenOptions Op);

  /// Closes the file, also when the service fails to: afterwards there is no file and no modified flag. An attached
  /// handle is forgotten without a call of the service, and name() is kept; otherwise name() becomes empty.
  /// @param Op  FLUSH, NOFLUSH or DELETE
  /// @return 0; kFileNotOpen; the service's status. Logs, without the "File: " prefix, "File is already closed" or
  ///         "Failed to close: NAME".
  std::uint32_t close(CloseOptions Op);

  /// Writes pending changes to disk. Success clears the modified flag.
  /// @return 0; kFileNotOpen; the service's status
  std::uint32_t flush();

  /// Name given to open; empty when no file was opened by name. Takes no lock.
  std::string name() const { return m_name; }
  /// The service's handle; null without a file. Takes no lock.
  void* handle() const { return m_handle; }
  /// Whether the service considers the handle open. Takes no lock.
  bool isOpen() const;
  /// Names the schema file of the service: sets the environment variable ORBDB, which later file objects and the
  /// service read. Takes no lock and must not run beside other readers of the environment.
  /// @return 0; 0xFFFFFFFF when the variable cannot be set
  std::uint32_t setSchema(const std::string& schema);
  /// Takes no lock.
  std::string getSchema() const { return m_schema; }
  /// The lock of this object.
  std::recursive_mutex& mutex() const { return m_mutex; }
  /// Whether the file was changed since it was last flushed or closed. Takes no lock.
  bool hasBeenModified() const { return m_modified.load(std::memory_order_relaxed); }
  /// Takes no lock.
  void setModified(bool v) { m_modified.store(v, std::memory_order_relaxed); }

  /// Creates a spectrum file and leaves it open, modified and not flushed: the blocks 0x2000, 0x2010, 0x2004 and a
  /// spectral block, and 86 default values, 16 of which depend on the detector.
  /// @param Name     path of the new file
  /// @param NumChan  channels of the spectral block
  /// @param isNaI    true for a sodium-iodide detector, false for any other
  /// @return what open(Name, CREATE) returns. A block or a value that the service refuses is missing from the file
  ///         and does not change the result; setParameter logs each refused value.
  std::uint32_t create(const std::string& Name, std::uint32_t NumChan, bool isNaI);

  // ---- Parameters -----------------------------------------------------------------------------------------

  /// Reads one value.
  /// @param Code       parameter code
  /// @param Val        out: the value, in the type of the table in ParameterMetadata.h; empty on failure
  /// @param Rec,Entry  record and entry number
  /// @return 0; kNoValue for a value that was never written, not logged; kFileNotOpen; the status of
  ///         ParameterMetadata::setCode for an unknown code; kOutOfMemory or kExceptionCaught when there is no buffer
  ///         to be had; kBadStreamSize; the service's status. Logs "Failed to get parameter: NAME Record: REC Entry:
  ///         ENTRY" for the last of these.
  /// @cost one look-up in the dictionary and one call of the service; no allocation for a number
  std::uint32_t getParameter(std::uint32_t Code, datatypes::Variant& Val, std::uint16_t Rec, std::uint16_t Entry) const;

  /// Writes one value. Modifies, unless the value cannot be encoded.
  /// @param Val  any value that converts to the parameter's type
  /// @return 0; kFileNotOpen; the status of ParameterMetadata::setCode or serialize; the service's status. Logs
  ///         "Failed to set parameter: NAME Record: REC Entry: ENTRY" for the last of these.
  /// @throws what the conversion of the value throws, with the lock released and the file as it was
  std::uint32_t setParameter(std::uint32_t Code, const datatypes::Variant& Val, std::uint16_t Rec, std::uint16_t Entry);

  /// Reads the values of all codes of a map in place, each as getParameter does.
  /// @param pars    in: the codes; out: the values, empty where reading failed
  /// @param ignore  false: stops at the first failure and leaves later values as they were. true: reads on, and the
  ///                result is always 0
  /// @return 0; the first failure when `ignore` is false. An empty map gives 0, open file or not.
  std::uint32_t getParameters(ParameterMap& pars, std::uint16_t Rec, std::uint16_t Entry, bool ignore) const;

  /// Writes all values of a map, each as setParameter does. Nothing is rolled back. Modifies.
  /// @param ignore  false: stops at the first failure. true: writes on
  /// @return 0; the first failure when `ignore` is false, the last one when it is true. (A later success does not
  ///         clear it; getParameters differs here.) An empty map gives 0, open file or not.
  std::uint32_t setParameters(const ParameterMap& pars, std::uint16_t Rec, std::uint16_t Entry, bool ignore);

  // ---- Blocks, records, entries ---------------------------------------------------------------------------

  /// Adds a block. Modifies.
  /// @param Code   parameter code or class; class 0x2005 makes the spectral block
  /// @param Size   spectral block: number of channels; others: size given to the service
  /// @param group  spectral block: number of groups, 0 means 1; others: not used
  /// @param row    spectral block: number of rows; others: not used
  /// @return 0; kFileNotOpen; the service's status
  std::uint32_t createBlock(std::uint32_t Code, std::uint32_t Size, std::uint32_t group, std::uint32_t row);

  /// Removes a block with all it holds. Modifies.
  /// @return 0; kFileNotOpen; the service's status
  std::uint32_t deleteBlock(std::uint32_t Code);

  /// Removes a level of the file's structure. Modifies. Takes no lock: hold mutex() when threads share the object.
  /// @param level  level number of the service
  /// @return 0; kWrongOpenState without an open file; the service's status
  std::uint32_t deleteLevel(std::uint32_t level);

  /// Inserts a record (Entry 0) or an entry into a record. Modifies.
  /// @return 0; kFileNotOpen; the service's status. Logs "Failed to insert parameter " and the code in hexadecimal.
  std::uint32_t insertItem(std::uint32_t Code, std::uint16_t Record, std::uint16_t Entry);

  /// Deletes a record (Entry 0) or an entry of a record. Modifies.
  /// @return 0; kFileNotOpen; the service's status
  std::uint32_t deleteItem(std::uint32_t Code, std::uint16_t Record, std::uint16_t Entry);

  /// Counts the entries of a record, or the records of a block.
  /// @param Num     out: the number, as the service stored it
  /// @param Record  1..65534: entries of that record; 0 or 65535: records of the block
  /// @return 0; kFileNotOpen; the service's status
  std::uint32_t countItems(std::uint32_t Code, std::uint16_t& Num, std::uint16_t Record) const;

  // ---- Copying into another file --------------------------------------------------------------------------
  // "Modifies" means the destination here. The log lines name this file.

  /// Copies one block, or the whole file. Locks both objects. Modifies.
  /// @param Code  parameter code or class; 0xFFFFFFFF means the whole file, copied as by duplicateTo
  /// @return 0; kFileNotOpen: "Source file is not open", "Destination file is not open"; kBadArgument: "The source
  ///         and destination cannot be the same"; the service's status
  std::uint32_t copyTo(FileAccess& dest, std::uint32_t Code) const;

  /// Copies the whole content of the file. Modifies. Takes no lock: hold both when threads share either object.
  /// @return 0; kWrongOpenState: "File is not open", "Destination is not open"; kBadArgument: "The source and
  ///         destination cannot be the same"; the service's status
  std::uint32_t duplicateTo(FileAccess& dest) const;

  /// Copies one record over a record of the destination. Locks this object only: hold the destination's lock when
  /// threads share it. Modifies.
  /// @param code  class number
  /// @return as copyTo
  std::uint32_t moveTo(FileAccess& dest, std::uint16_t code, std::uint16_t srcRec, std::uint16_t destRec) const;

  /// Copies calibrations of the chosen kinds. Locks both objects. Modifies.
  ///
  /// Shape, energy, efficiency and peak-to-total each copy a block, creating it in the destination when it is missing
  /// there; shape and energy then copy a list of single parameters. TOJO copies six settings, all of them or, when
  /// the source has none, nothing. The kinds are copied in this order.
  /// @return 0; kFileNotOpen: "Destination is not open", "Source is not open"; kBadArgument: "The source and
  ///         destination cannot be the same"; the service's status for a block that cannot be copied, which ends the
  ///         operation: "Failed to copy ORB_CLS_SHAPECALRES", "..._CALRESULTS", "..._GEOM", "..._PTCALIB". A missing
  ///         block in the source is no failure. Neither is a single parameter: these log "Failed to get parameter:
  ///         NAME" or "Failed to set parameter: NAME", the settings "Failed to get Tojo settings", with the code of
  ///         the failure. An exception in the settings step logs its text under
  ///         "FileAccess::copyCalibrationsTo : TOJO", with kExceptionCaught.
  std::uint32_t copyCalibrationsTo(FileAccess& dest, CopyCalibrationOptions ops) const;

  // ---- Spectra --------------------------------------------------------------------------------------------
  // Element i of a vector is channel i + 1 [counts]. Group and row count from 1, and 0 means 1. Integers are read and
  // written in LONGFORMAT, floats in FLOATFORMAT; the service converts. Locked, logged and answered as by the free
  // functions getSpectrum and setSpectrum below.

  /// Reads a spectrum; the vector gets as many elements as the file has channels. On failure it is left as it was.
  std::uint32_t getSpectrum(std::vector<int>& data, std::uint32_t group, std::uint32_t row) const;
  std::uint32_t getSpectrum(std::vector<unsigned int>& data, std::uint32_t group, std::uint32_t row) const;
  std::uint32_t getSpectrum(std::vector<float>& data, std::uint32_t group, std::uint32_t row) const;

  /// Writes a spectrum; its size becomes the file's number of channels. Modifies, also without an open file.
  std::uint32_t setSpectrum(const std::vector<int>& data, std::uint32_t group, std::uint32_t row);
  std::uint32_t setSpectrum(const std::vector<unsigned int>& data, std::uint32_t group, std::uint32_t row);
  std::uint32_t setSpectrum(const std::vector<float>& data, std::uint32_t group, std::uint32_t row);

  // ---- Analysis ---------------------------------------------------------------------------------------------
  //
  // The work is done by the routines of libanautils (anautils.h), which read what they need from the file's parameters
  // and leave their results there; docs/analysis.md names them. These operations are const because the object stays
  // the same; the file does not. The statuses of routines are handed on as they are, without convertReturnCode. What
  // the operations below call (getParameter, setParameter, insertItem, ...) logs its own failures as well.
  //
  // An exception inside estimateRegionParameters, quantifyRegion or energyShapeCalibration is logged as getParameter
  // logs one (docs/result-codes.md), without the "File: " prefix, and the result is empty.

  /// Turns a number into another through a calibration of the file.
  /// @param option  what is computed; beyond the last one the result is {0, 0}, whatever `ignore` says
  /// @param pt      a channel for CHANNEL2ENERGY, otherwise an energy [keV]
  /// @param ignore  whether failures are passed over. A calibration that cannot be had, or a closed file, then gives
  ///                {0, 0}; a failed value or uncertainty counts as 0.
  /// @return value and standard uncertainty; the uncertainty of options 0 to 3 is 0
  /// @throws unsigned int: kFileNotOpen (logged), or the status of the routine or operation that failed (not logged),
  ///         unless `ignore`
  ///
  /// Options 5 to 10 put their model into the file's selector (ORB_T_EFFMODEL) for the time of the call. After a
  /// failure that ends the call the selector keeps it. These options modify.
  datatypes::Estimate<float> evaluate(EvaluationOption option, float pt, bool ignore) const;

  /// Proposes the region of a line.
  /// @param channel     the line's channel
  /// @param channelkeV  the line's energy [keV]; a negative one counts as 0
  /// @param useCal      whether the width comes from the file's calibration rather than from the counts
  /// @return first and last channel; {0, 0} on failure. Logs "Error returned from 'ulUtlRoi'" with the routine's
  ///         status.
  std::pair<std::uint32_t, std::uint32_t> determineRegion(std::uint32_t channel, float channelkeV, bool useCal) const;

  /// Fits one line in one region. What the file had in the first record of its calibration points is written back
  /// afterwards, unless the call ends early or there was nothing. Modifies.
  /// @param start, end   first and last channel
  /// @param options      where the continuum is taken from; with USE_DEFAULT_OPTIONS `type` and `continWidth` are not
  ///                     looked at
  /// @param continWidth  in FWHM (VARIABLE_CONTINUUM) or whole channels (FIXED_CONTINUUM)
  /// @param lowTail      whether a low tail is fitted too
  /// @return up to 12 values by code, 14 with the tail; empty on failure. Logs "Error returned from 'lEncal1'" with
  ///         the routine's status.
  ParameterMap estimateRegionParameters(std::uint32_t start, std::uint32_t end, ContinuumOptions options,
                                        ContinuumType type, float continWidth, bool lowTail) const;

  /// Locates and fits the lines of one region. The peak results that the file had are gone afterwards, also when the
  /// operation fails. Modifies.
  /// @param start, end, options, type, continWidth  as above; the type counts with USE_DEFAULT_OPTIONS too
  /// @param lowTail  whether the two values of the low tail are read
  /// @return a map for each line whose record can be read: 19 values by code, 21 with the tail. Empty on failure and
  ///         without a line. Logs "Error returned from 'AA_2nd_Diff_Peak_Loc'" or "... 'lPANolin'" with the status.
  std::vector<ParameterMap> quantifyRegion(std::uint32_t start, std::uint32_t end, ContinuumOptions options,
                                           ContinuumType type, float continWidth, bool lowTail) const;

  /// Fits the energy, FWHM and low-tail equations to points, which replace the file's tables of points. Modifies.
  /// @param epts    channel and energy [keV]
  /// @param fpts    energy and FWHM [keV]
  /// @param lpts    energy and low-tail junction distance [keV]
  /// @param eterms  terms of the energy equation, at most 4; below 1: one less than there are points
  /// @return the fitted values by code: 8 for energy, 3 for FWHM, 3 for the tail. Empty without points, and when the
  ///         fit fails: logs "Error returned from 'lEncal2'" with the routine's status. A point that cannot be stored
  ///         is left out: logs "Error inserting ecal pts", "... fcal pts" or "... lcal pts" with the code of the
  ///         failure, kBadArgument for points beyond the 65535 records of a table.
  ParameterMap energyShapeCalibration(const CalibrationPoints& epts, const CalibrationPoints& fpts,
                                      const CalibrationPoints& lpts, std::int32_t eterms) const;

  /// Searches the nuclide library in the file for a line, from record `start` on.
  /// @param energyInkeV, tol  the line's energy and how far it may be off [keV]
  /// @param rec  set when the search fails, to what the service left (0); a successful search does not touch it
  /// @return 0; the service's code, not logged. The line of a closed file stands under
  ///         "FileAccess::findNuclideByEnergy" for both forms.
  std::uint32_t findNuclide(float energyInkeV, float tol, std::uint16_t& rec, std::uint16_t start) const;
  /// The same by the nuclide's name.
  std::uint32_t findNuclide(const std::string& name, std::uint16_t& rec, std::uint16_t start) const;

  // ---- Engines and sequences --------------------------------------------------------------------------------
  //
  // An engine is a shared library that carries out one step of an analysis on the open file, through the data-file
  // service (docs/engines.md). A sequence is a list of steps in a data file, the analysis sequence file (ASF): record
  // k of block 0x2010 names the engine of step k.

  /// Loads an engine's library, runs the engine on the open file and releases the library. The lock is held while the
  /// engine runs. Modifies, once the engine has run.
  /// @param fnc       symbol of the entry point
  /// @param resource  path of the library, given to the loader as it is
  /// @param phase     handed to the engine: the number of the step, from 1
  /// @return 0; kFileNotOpen: "File to analyze is not open"; the loader's status as it is: "Failed to find engine
  ///         resource"; kNoEntryPoint: "Failed to find engine entry point"; the engine's status as convertReturnCode
  ///         makes it, not logged
  std::uint32_t execute(const std::string& fnc, const std::string& resource, std::uint16_t phase);

  /// Runs a sequence on the open file: copies its settings into the file, unless it lies in the file itself (the same
  /// handle), and executes the engine of every step. Locks this object throughout and the ASF for each call on it: do
  /// not run two sequences with the roles of two objects swapped at once. Modifies, also without a step.
  /// @param asf            file with the sequence
  /// @param aef            environment variable with the path of the engine catalogue, or the path itself
  /// @param enginePath     folder of the engines' libraries, with the slash at its end
  /// @param skipStepError  whether a step whose engine fails is passed over; otherwise it ends the sequence
  /// @return the status of the last step that ran, 0 without steps: a failure that was passed over counts only in the
  ///         last step. kFileNotOpen: "ASF is not open", "File to analyze is not open"; the status of the operation
  ///         that failed: "Error counting steps", "Error copying sequence parameters", "Error getting parameter
  ///         ORB_T_ACENGNAME"; kEngineNotFound: "Engine NAME not found in AEF"; the status of execute: "Error returned
  ///         from engine NAME". Only the last of these can be passed over. A catalogue that cannot be read has no
  ///         engines. The lines name this file.
  std::uint32_t executeSequence(const FileAccess& asf, const std::string& aef, const std::string& enginePath,
                                bool skipStepError);

  /// Names whom later sequences on this file tell of every step that ran, also of one that failed; an empty function
  /// means nobody. What the observer throws ends the sequence and passes to its caller.
  void observeSteps(StepObserver observer);

  /// Names what carries out the steps of later sequences on this file; an empty function means execute. What the runner
  /// throws ends the sequence and passes to its caller.
  void runStepsWith(StepRunner runner);

  /// Copies the sequence of this file into another: the blocks 0x2010 and 0x2003, the efficiency model, the geometry
  /// file and the titles. The destination keeps its own ORB_L_REPORTPAGES, ORB_L_REPORTLINES, ORB_D_COLLTIME and
  /// ORB_T_BUILDUP, which belong to what was measured. Locks both objects. Modifies the destination.
  /// @return 0; kFileNotOpen: "Destination is not open", "Source is not open"; kBadArgument: "The source and
  ///         destination cannot be the same"; the status of a block that cannot be copied, which ends the operation:
  ///         "Failed to copy ORB_CLS_ANALCNTL" (under "FileAccesss::copySequenceTo"), "Failed to copy ORB_CLS_PROC";
  ///         the status of writing the efficiency model. A block that the source does not have is no failure, nor is
  ///         any other single value.
  std::uint32_t copySequenceTo(FileAccess& dest) const;

 private:
  /// This object, for the const operations that write to the file. Calling them on an object that is const is sound
  /// too: creating and deleting blocks, levels and items and setting parameters change nothing in it but its lock and
  /// its modified flag, which are mutable. Nothing else may be called through it.
  FileAccess& forAnalysis() const { return const_cast<FileAccess&>(*this); }

  std::string m_name;
  void* m_handle = nullptr;
  std::string m_schema;
  mutable std::recursive_mutex m_mutex;
  bool m_attached = false;
  mutable std::atomic<bool> m_modified{false};  // some operations set it before they lock
  StepObserver m_observer;
  StepRunner m_runner;
};

}  // namespace com::norvale::orb

/// Reads a whole spectrum, as many channels as parameter ORB_L_CHANNELS says, and holds the file's lock meanwhile.
/// @param dest  the file
/// @param BS    out: 4 bytes a channel, little-endian, channel 1 first, no header. Empty when the file is closed or
///              its channel count cannot be read; of its full size when the service refuses to read.
/// @param Op    element format wanted
/// @return 0; kFileNotOpen: "Destination file is not open"; the status of getParameter, logged there; kOutOfMemory
///         for a channel count that is negative, larger than a spectrum can be or too large for the memory, logged as
///         "Caught exception"; the service's status: "Failed to get spectrum". The lines stand under
///         "FileAccess::getSpectrum", without the "File: " prefix.
ORBFILEACCESS_EXPORT std::uint32_t getSpectrum(const com::norvale::orb::FileAccess& dest,
                                               com::norvale::datatypes::ByteStream& BS, SpectralFormatTag Op,
                                               std::uint32_t group, std::uint32_t row);

/// Writes a whole spectrum and holds the file's lock meanwhile. Parameter ORB_L_CHANNELS becomes the number of
/// channels. When the service refuses the write (the spectral block has another size), the block is deleted, made anew
/// with one group, one row and this number of channels, and the write is tried once more; the old contents are then
/// gone.
/// @param BS  4 bytes a channel as in getSpectrum; 1 to 3 bytes at the end that make no channel are ignored
/// @param Op  element format of BS
/// @return 0; kFileNotOpen: "Destination file is not open"; the status of the last write that was tried: "Failed to
///         set the spectrum". The lines stand under "FileAccess::setSpectrum", without the "File: " prefix.
ORBFILEACCESS_EXPORT std::uint32_t setSpectrum(com::norvale::orb::FileAccess& dest,
                                               com::norvale::datatypes::ByteStream& BS, SpectralFormatTag Op,
                                               std::uint32_t group, std::uint32_t row);
