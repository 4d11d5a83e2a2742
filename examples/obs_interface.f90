! SPDX-License-Identifier: Apache-2.0
! Obs and its family from Fortran 2003 and later: one interface for each function of ObsDllExports.h and ObsFamily.h.
! Made from these headers by tools/api_page.py; what the functions do is there and in docs/api/functions.md.
!
! Texts are character(len=512), blank-padded; a shorter variable is refused by the compiler. A key is
! integer(c_int64_t). Functions given as arguments are type(c_funptr), made by c_funloc of a bind(c) procedure.
module obs_interface
    use, intrinsic :: iso_c_binding, only: c_char, c_double, c_funptr, c_int32_t, c_int64_t, c_int8_t, c_ptr
    implicit none
    private :: c_char, c_double, c_funptr, c_int32_t, c_int64_t, c_int8_t, c_ptr

    integer(c_int32_t), parameter :: OBS_VERSION_MAJOR = 0
    integer(c_int32_t), parameter :: OBS_VERSION_MINOR = 1
    integer(c_int32_t), parameter :: OBS_VERSION_PATCH = 0
    integer(c_int32_t), parameter :: OBS_LINE_BAD = 2
    integer(c_int32_t), parameter :: OBS_LINE_DUPLICATE = 3
    integer(c_int32_t), parameter :: OBS_LINE_ZEROED = 4
    integer(c_int32_t), parameter :: OBS_LINE_PASSED_OVER = 5
    integer(c_int32_t), parameter :: OBS_LINE_KEYWORD = 6
    integer(c_int32_t), parameter :: OBS_LINE_NOTE = 7
    integer(c_int32_t), parameter :: OBS_LINE_KEYWORD_FAULT = 8
    integer(c_int32_t), parameter :: OBS_LINE_INCLUDE_LEFT_OUT = 9
    integer(c_int32_t), parameter :: OBS_LINE_SELECTION = 10
    integer(c_int32_t), parameter :: OBS_LINE_UNKNOWN_SENSOR = 11
    integer(c_int32_t), parameter :: OBS_LINE_BROKEN_OFF = 12
    integer(c_int32_t), parameter :: OBS_SLR_TROPOSPHERE = 1
    integer(c_int32_t), parameter :: OBS_SLR_CENTRE_OF_MASS = 2
    integer(c_int32_t), parameter :: OBS_READ_WHOLE = 0
    integer(c_int32_t), parameter :: OBS_READ_FIRST = 1
    integer(c_int32_t), parameter :: OBS_READ_SECOND = 2
    integer(c_int32_t), parameter :: OBS_READ_INCLUDED = 3
    integer(c_int32_t), parameter :: OBS_FILE_NOTHING = 0
    integer(c_int32_t), parameter :: OBS_FILE_OBSERVATIONS = 1
    integer(c_int32_t), parameter :: OBS_FILE_LASER_RANGES = 2
    integer(c_int32_t), parameter :: OBS_FILE_OTHER = 100
    integer(c_int32_t), parameter :: OBS_FILE_GUESS = 200
    integer(c_int32_t), parameter :: OBS_COLUMN_INTEGER = 0
    integer(c_int32_t), parameter :: OBS_COLUMN_REAL = 1
    integer(c_int32_t), parameter :: OBS_COLUMN_CHARACTER = 2
    integer(c_int32_t), parameter :: OBS_KNOWN_REALS = 6
    integer(c_int32_t), parameter :: OBS_KNOWN_TEXTS = 4
    integer(c_int32_t), parameter :: OBS_CRITERIA = 10
    integer(c_int32_t), parameter :: OBS_ORDER_STORED = 11
    integer(c_int32_t), parameter :: OBS_ARROW_ROWS = 0
    integer(c_int32_t), parameter :: OBS_ARROW_ADDED = 1
    integer(c_int32_t), parameter :: OBS_ARROW_DUPLICATES = 2
    integer(c_int32_t), parameter :: OBS_ARROW_REFUSED = 3
    integer(c_int32_t), parameter :: OBS_ARROW_COUNTS = 4
    integer(c_int32_t), parameter :: OBS_SAVE_LEFT_OUT = 1
    integer(c_int32_t), parameter :: OBS_SAVE_UNREADABLE = 2
    integer(c_int32_t), parameter :: OBS_SAVE_SENSOR = 3
    integer(c_int32_t), parameter :: OBS_SAVE_TYPE = 4
    integer(c_int32_t), parameter :: OBS_SAVE_POSITION = 5
    integer(c_int32_t), parameter :: OBS_SAVE_SITE = 6
    integer(c_int32_t), parameter :: OBS_SAVE_EXPONENT = 7
    integer(c_int32_t), parameter :: OBS_FORMAT_B3 = 0
    integer(c_int32_t), parameter :: OBS_FORMAT_TTY = 1
    integer(c_int32_t), parameter :: OBS_FORMAT_CSV = 2
    integer(c_int32_t), parameter :: OBS_FORMAT_RF = 3
    integer(c_int32_t), parameter :: OBS_FORMAT_CRD_NORMAL_POINTS = 4
    integer(c_int32_t), parameter :: OBS_FORMAT_CRD_FULL_RATE = 5

    type, bind(c) :: ObsLoadOptions
        integer(c_int32_t) :: size
        integer(c_int32_t) :: ttyYear
        integer(c_int32_t) :: settingsLines
        integer(c_int32_t) :: includes
        integer(c_int64_t) :: maxLines
        integer(c_int64_t) :: maxBadTold
        integer(c_int64_t) :: maxIncludes
    end type

    type, bind(c) :: ObsLoadLines
        integer(c_int32_t) :: size
        integer(c_int64_t) :: lines
        integer(c_int64_t) :: observations
        integer(c_int64_t) :: comments
        integer(c_int64_t) :: keywords
        integer(c_int64_t) :: laser
        integer(c_int64_t) :: passedOver
        integer(c_int64_t) :: zeroed
        integer(c_int64_t) :: includesLeftOut
    end type

    type, bind(c) :: ObsReadState
        integer(c_int32_t) :: size
        integer(c_int32_t) :: ttyYear
        integer(c_int32_t) :: rotateToDate
        integer(c_int32_t) :: troposphere
        integer(c_int32_t) :: centreOfMass
        integer(c_int32_t) :: addressKeys
        integer(c_int32_t) :: laserSection
        integer(c_int32_t) :: isLast
        integer(c_int64_t) :: lines
        integer(c_int64_t) :: offset
        integer(c_int64_t) :: cutAfter
        integer(c_int32_t) :: laserFile
        integer(c_int32_t) :: atCut
        character(kind=c_char) :: laser(368)
        integer(c_int32_t) :: pass
        integer(c_int32_t) :: reserved
        integer(c_int64_t) :: observations
        integer(c_int64_t) :: comments
        integer(c_int64_t) :: keywords
        integer(c_int64_t) :: laserLines
        integer(c_int64_t) :: passedOver
        integer(c_int64_t) :: zeroed
    end type

    type, bind(c) :: ObsPass
        integer(c_int32_t) :: satNum
        integer(c_int32_t) :: senNum
        integer(c_int32_t) :: observations
        integer(c_int32_t) :: reserved
        real(c_double) :: firstTime
        real(c_double) :: lastTime
    end type

    interface
        function ObsInit() bind(c, name="ObsInit") result(outcome)
            import
            integer(c_int32_t) :: outcome
        end function ObsInit

        subroutine ObsGetInfo(info) bind(c, name="ObsGetInfo")
            import
            character(kind=c_char), intent(out) :: info(512)
        end subroutine ObsGetInfo

        subroutine ObsSetTTYYear(year) bind(c, name="ObsSetTTYYear")
            import
            integer(c_int32_t), value :: year
        end subroutine ObsSetTTYYear

        function GetObsKeyMode() bind(c, name="GetObsKeyMode") result(outcome)
            import
            integer(c_int32_t) :: outcome
        end function GetObsKeyMode

        function SetObsKeyMode(mode) bind(c, name="SetObsKeyMode") result(outcome)
            import
            integer(c_int32_t), value :: mode
            integer(c_int32_t) :: outcome
        end function SetObsKeyMode

        function ObsSetLargePages(isWanted) bind(c, name="ObsSetLargePages") result(outcome)
            import
            integer(c_int32_t), value :: isWanted
            integer(c_int32_t) :: outcome
        end function ObsSetLargePages

        subroutine ObsSetProgressCallback(report, user) bind(c, name="ObsSetProgressCallback")
            import
            type(c_funptr), value :: report
            type(c_ptr), value :: user
        end subroutine ObsSetProgressCallback

        function ObsSetThreads(number) bind(c, name="ObsSetThreads") result(outcome)
            import
            integer(c_int32_t), value :: number
            integer(c_int32_t) :: outcome
        end function ObsSetThreads

        function ObsGetThreads() bind(c, name="ObsGetThreads") result(outcome)
            import
            integer(c_int32_t) :: outcome
        end function ObsGetThreads

        function ObsFieldsToObsKey(satNum, senNum, obsTime) bind(c, name="ObsFieldsToObsKey") &
            result(outcome)
            import
            integer(c_int32_t), value :: satNum
            integer(c_int32_t), value :: senNum
            real(c_double), value :: obsTime
            integer(c_int64_t) :: outcome
        end function ObsFieldsToObsKey

        function ObsFieldsToObsKeyML(satNum, senNum, obsTime, obsKey) bind(c, name="ObsFieldsToObsKeyML") &
            result(outcome)
            import
            integer(c_int32_t), value :: satNum
            integer(c_int32_t), value :: senNum
            real(c_double), value :: obsTime
            integer(c_int64_t), intent(out) :: obsKey
            integer(c_int64_t) :: outcome
        end function ObsFieldsToObsKeyML

        function SatNumFrObsKey(obsKey) bind(c, name="SatNumFrObsKey") result(outcome)
            import
            integer(c_int64_t), value :: obsKey
            integer(c_int32_t) :: outcome
        end function SatNumFrObsKey

        function SenNumFrObsKey(obsKey) bind(c, name="SenNumFrObsKey") result(outcome)
            import
            integer(c_int64_t), value :: obsKey
            integer(c_int32_t) :: outcome
        end function SenNumFrObsKey

        function ObsLoadFile(fileName) bind(c, name="ObsLoadFile") result(outcome)
            import
            character(kind=c_char), intent(in) :: fileName(512)
            integer(c_int32_t) :: outcome
        end function ObsLoadFile

        function ObsLoadFileGID(fileName, gid) bind(c, name="ObsLoadFileGID") result(outcome)
            import
            character(kind=c_char), intent(in) :: fileName(512)
            integer(c_int32_t), value :: gid
            integer(c_int32_t) :: outcome
        end function ObsLoadFileGID

        function ObsLoadFileWith(fileName, gid, options) bind(c, name="ObsLoadFileWith") result(outcome)
            import
            character(kind=c_char), intent(in) :: fileName(512)
            integer(c_int32_t), value :: gid
            type(ObsLoadOptions), intent(in) :: options
            integer(c_int32_t) :: outcome
        end function ObsLoadFileWith

        function ObsKeepOrigins(wanted) bind(c, name="ObsKeepOrigins") result(outcome)
            import
            integer(c_int32_t), value :: wanted
            integer(c_int32_t) :: outcome
        end function ObsKeepOrigins

        function ObsGetOrigin(obsKey, fileName, line) bind(c, name="ObsGetOrigin") result(outcome)
            import
            integer(c_int64_t), value :: obsKey
            character(kind=c_char), intent(out) :: fileName(512)
            integer(c_int64_t), intent(out) :: line
            integer(c_int32_t) :: outcome
        end function ObsGetOrigin

        function ObsLoadSlrFile(fileName) bind(c, name="ObsLoadSlrFile") result(outcome)
            import
            character(kind=c_char), intent(in) :: fileName(512)
            integer(c_int32_t) :: outcome
        end function ObsLoadSlrFile

        function ObsLoadSlrFileGID(fileName, gid) bind(c, name="ObsLoadSlrFileGID") result(outcome)
            import
            character(kind=c_char), intent(in) :: fileName(512)
            integer(c_int32_t), value :: gid
            integer(c_int32_t) :: outcome
        end function ObsLoadSlrFileGID

        function ObsLoadText(name, bytes, length, gid, options) bind(c, name="ObsLoadText") result(outcome)
            import
            character(kind=c_char), intent(in) :: name(512)
            character(kind=c_char), intent(in) :: bytes(*)
            integer(c_int64_t), value :: length
            integer(c_int32_t), value :: gid
            type(ObsLoadOptions), intent(in) :: options
            integer(c_int32_t) :: outcome
        end function ObsLoadText

        function ObsLoadSlrText(name, bytes, length, gid) bind(c, name="ObsLoadSlrText") result(outcome)
            import
            character(kind=c_char), intent(in) :: name(512)
            character(kind=c_char), intent(in) :: bytes(*)
            integer(c_int64_t), value :: length
            integer(c_int32_t), value :: gid
            integer(c_int32_t) :: outcome
        end function ObsLoadSlrText

        function ObsLoadCard(card) bind(c, name="ObsLoadCard") result(outcome)
            import
            character(kind=c_char), intent(in) :: card(512)
            integer(c_int32_t) :: outcome
        end function ObsLoadCard

        function ObsLoadTwoCards(card1, card2) bind(c, name="ObsLoadTwoCards") result(outcome)
            import
            character(kind=c_char), intent(in) :: card1(512)
            character(kind=c_char), intent(in) :: card2(512)
            integer(c_int32_t) :: outcome
        end function ObsLoadTwoCards

        function ObsAddFrB3Card(b3Card) bind(c, name="ObsAddFrB3Card") result(outcome)
            import
            character(kind=c_char), intent(in) :: b3Card(512)
            integer(c_int64_t) :: outcome
        end function ObsAddFrB3Card

        subroutine ObsAddFrB3CardML(b3Card, obsKey) bind(c, name="ObsAddFrB3CardML")
            import
            character(kind=c_char), intent(in) :: b3Card(512)
            integer(c_int64_t), intent(out) :: obsKey
        end subroutine ObsAddFrB3CardML

        function ObsAddFrTTYCards(card1, card2) bind(c, name="ObsAddFrTTYCards") result(outcome)
            import
            character(kind=c_char), intent(in) :: card1(512)
            character(kind=c_char), intent(in) :: card2(512)
            integer(c_int64_t) :: outcome
        end function ObsAddFrTTYCards

        subroutine ObsAddFrTTYCardsML(card1, card2, obsKey) bind(c, name="ObsAddFrTTYCardsML")
            import
            character(kind=c_char), intent(in) :: card1(512)
            character(kind=c_char), intent(in) :: card2(512)
            integer(c_int64_t), intent(out) :: obsKey
        end subroutine ObsAddFrTTYCardsML

        function ObsAddFrCsv(csvLine) bind(c, name="ObsAddFrCsv") result(outcome)
            import
            character(kind=c_char), intent(in) :: csvLine(512)
            integer(c_int64_t) :: outcome
        end function ObsAddFrCsv

        subroutine ObsAddFrCsvML(csvLine, obsKey) bind(c, name="ObsAddFrCsvML")
            import
            character(kind=c_char), intent(in) :: csvLine(512)
            integer(c_int64_t), intent(out) :: obsKey
        end subroutine ObsAddFrCsvML

        function ObsAddFrFields(secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, &
            elRate, azRate, rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, vel, &
            obsArr) bind(c, name="ObsAddFrFields") result(outcome)
            import
            character(kind=c_char), value :: secClass
            integer(c_int32_t), value :: satNum
            integer(c_int32_t), value :: senNum
            real(c_double), value :: obsTime
            real(c_double), value :: elOrDec
            real(c_double), value :: azOrRa
            real(c_double), value :: range
            real(c_double), value :: rangeRate
            real(c_double), value :: elRate
            real(c_double), value :: azRate
            real(c_double), value :: rangeAccel
            character(kind=c_char), value :: obsType
            integer(c_int32_t), value :: indicator1
            integer(c_int32_t), value :: indicator2
            integer(c_int32_t), value :: altSatNum1
            integer(c_int32_t), value :: altSatNum2
            real(c_double), intent(in) :: pos(3)
            real(c_double), intent(in) :: vel(3)
            real(c_double), intent(in) :: obsArr(64)
            integer(c_int64_t) :: outcome
        end function ObsAddFrFields

        subroutine ObsAddFrFieldsML(secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, &
            elRate, azRate, rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, vel, &
            obsArr, obsKey) bind(c, name="ObsAddFrFieldsML")
            import
            character(kind=c_char), value :: secClass
            integer(c_int32_t), value :: satNum
            integer(c_int32_t), value :: senNum
            real(c_double), value :: obsTime
            real(c_double), value :: elOrDec
            real(c_double), value :: azOrRa
            real(c_double), value :: range
            real(c_double), value :: rangeRate
            real(c_double), value :: elRate
            real(c_double), value :: azRate
            real(c_double), value :: rangeAccel
            character(kind=c_char), value :: obsType
            integer(c_int32_t), value :: indicator1
            integer(c_int32_t), value :: indicator2
            integer(c_int32_t), value :: altSatNum1
            integer(c_int32_t), value :: altSatNum2
            real(c_double), intent(in) :: pos(3)
            real(c_double), intent(in) :: vel(3)
            real(c_double), intent(in) :: obsArr(64)
            integer(c_int64_t), intent(out) :: obsKey
        end subroutine ObsAddFrFieldsML

        function ObsAddFrArray(obsArr) bind(c, name="ObsAddFrArray") result(outcome)
            import
            real(c_double), intent(in) :: obsArr(64)
            integer(c_int64_t) :: outcome
        end function ObsAddFrArray

        subroutine ObsAddFrArrayML(obsArr, obsKey) bind(c, name="ObsAddFrArrayML")
            import
            real(c_double), intent(in) :: obsArr(64)
            integer(c_int64_t), intent(out) :: obsKey
        end subroutine ObsAddFrArrayML

        function ObsAddFrArrays(count, obsArrs, keys) bind(c, name="ObsAddFrArrays") result(outcome)
            import
            integer(c_int32_t), value :: count
            real(c_double), intent(in) :: obsArrs(*)
            integer(c_int64_t), intent(inout) :: keys(*)
            integer(c_int32_t) :: outcome
        end function ObsAddFrArrays

        function ObsGetLoadCounts(loaded, duplicate, bad) bind(c, name="ObsGetLoadCounts") result(outcome)
            import
            integer(c_int64_t), intent(out) :: loaded
            integer(c_int64_t), intent(out) :: duplicate
            integer(c_int64_t), intent(out) :: bad
            integer(c_int32_t) :: outcome
        end function ObsGetLoadCounts

        function ObsGetLoadLines(lines) bind(c, name="ObsGetLoadLines") result(outcome)
            import
            type(ObsLoadLines), intent(inout) :: lines
            integer(c_int32_t) :: outcome
        end function ObsGetLoadLines

        subroutine ObsSetLoadCallback(report, user) bind(c, name="ObsSetLoadCallback")
            import
            type(c_funptr), value :: report
            type(c_ptr), value :: user
        end subroutine ObsSetLoadCallback

        function ObsSetSlrCorrections(troposphere, centreOfMass) bind(c, name="ObsSetSlrCorrections") &
            result(outcome)
            import
            integer(c_int32_t), value :: troposphere
            integer(c_int32_t), value :: centreOfMass
            integer(c_int32_t) :: outcome
        end function ObsSetSlrCorrections

        function ObsGetSlrCorrectionCounts(correction, applied, byFile, notApplied) bind(c, &
            name="ObsGetSlrCorrectionCounts") result(outcome)
            import
            integer(c_int32_t), value :: correction
            integer(c_int64_t), intent(out) :: applied
            integer(c_int64_t), intent(out) :: byFile
            integer(c_int64_t), intent(out) :: notApplied
            integer(c_int32_t) :: outcome
        end function ObsGetSlrCorrectionCounts

        function ObsB3Parse(b3Card, secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, &
            elRate, azRate, rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos) bind(c, &
            name="ObsB3Parse") result(outcome)
            import
            character(kind=c_char), intent(in) :: b3Card(512)
            character(kind=c_char), intent(out) :: secClass
            integer(c_int32_t), intent(out) :: satNum
            integer(c_int32_t), intent(out) :: senNum
            real(c_double), intent(out) :: obsTime
            real(c_double), intent(out) :: elOrDec
            real(c_double), intent(out) :: azOrRa
            real(c_double), intent(out) :: range
            real(c_double), intent(out) :: rangeRate
            real(c_double), intent(out) :: elRate
            real(c_double), intent(out) :: azRate
            real(c_double), intent(out) :: rangeAccel
            character(kind=c_char), intent(out) :: obsType
            integer(c_int32_t), intent(out) :: indicator1
            integer(c_int32_t), intent(out) :: indicator2
            integer(c_int32_t), intent(out) :: altSatNum1
            integer(c_int32_t), intent(out) :: altSatNum2
            real(c_double), intent(out) :: pos(3)
            integer(c_int32_t) :: outcome
        end function ObsB3Parse

        function ObsParse(line1, line2, obsArr) bind(c, name="ObsParse") result(outcome)
            import
            character(kind=c_char), intent(in) :: line1(512)
            character(kind=c_char), intent(in) :: line2(512)
            real(c_double), intent(out) :: obsArr(64)
            integer(c_int32_t) :: outcome
        end function ObsParse

        function ObsGetLineColumn(line1, line2, group, name, form, fault, facts) bind(c, &
            name="ObsGetLineColumn") result(outcome)
            import
            character(kind=c_char), intent(in) :: line1(512)
            character(kind=c_char), intent(in) :: line2(512)
            integer(c_int32_t), value :: group
            character(kind=c_char), intent(out) :: name(512)
            character(kind=c_char), intent(out) :: form(512)
            character(kind=c_char), intent(out) :: fault(512)
            integer(c_int32_t), intent(out) :: facts(4)
            integer(c_int32_t) :: outcome
        end function ObsGetLineColumn

        function ObsGetLineKind(line, kind) bind(c, name="ObsGetLineKind") result(outcome)
            import
            character(kind=c_char), intent(in) :: line(512)
            character(kind=c_char), intent(out) :: kind(512)
            integer(c_int32_t) :: outcome
        end function ObsGetLineKind

        function ObsIdentifyFile(fileName, kind, formats, name) bind(c, name="ObsIdentifyFile") &
            result(outcome)
            import
            character(kind=c_char), intent(in) :: fileName(512)
            integer(c_int32_t), intent(out) :: kind
            integer(c_int32_t), intent(out) :: formats
            character(kind=c_char), intent(out) :: name(512)
            integer(c_int32_t) :: outcome
        end function ObsIdentifyFile

        function ObsIdentifyText(bytes, length, kind, formats, name) bind(c, name="ObsIdentifyText") &
            result(outcome)
            import
            character(kind=c_char), intent(in) :: bytes(*)
            integer(c_int64_t), value :: length
            integer(c_int32_t), intent(out) :: kind
            integer(c_int32_t), intent(out) :: formats
            character(kind=c_char), intent(out) :: name(512)
            integer(c_int32_t) :: outcome
        end function ObsIdentifyText

        function ObsReadLines(bytes, length, state, observation, report, user) bind(c, name="ObsReadLines") &
            result(outcome)
            import
            character(kind=c_char), intent(in) :: bytes(*)
            integer(c_int64_t), value :: length
            type(ObsReadState), intent(inout) :: state
            type(c_funptr), value :: observation
            type(c_funptr), value :: report
            type(c_ptr), value :: user
            integer(c_int32_t) :: outcome
        end function ObsReadLines

        function ObsReadStateToText(state, text) bind(c, name="ObsReadStateToText") result(outcome)
            import
            type(ObsReadState), intent(in) :: state
            character(kind=c_char), intent(out) :: text(512)
            integer(c_int32_t) :: outcome
        end function ObsReadStateToText

        function ObsReadStateFromText(text, state) bind(c, name="ObsReadStateFromText") result(outcome)
            import
            character(kind=c_char), intent(in) :: text(512)
            type(ObsReadState), intent(inout) :: state
            integer(c_int32_t) :: outcome
        end function ObsReadStateFromText

        function ObsGetNamedFile(line, fileName, name) bind(c, name="ObsGetNamedFile") result(outcome)
            import
            character(kind=c_char), intent(in) :: line(512)
            character(kind=c_char), intent(in) :: fileName(512)
            character(kind=c_char), intent(out) :: name(512)
            integer(c_int32_t) :: outcome
        end function ObsGetNamedFile

        function ObsNextCut(bytes, length, from) bind(c, name="ObsNextCut") result(outcome)
            import
            character(kind=c_char), intent(in) :: bytes(*)
            integer(c_int64_t), value :: length
            integer(c_int64_t), value :: from
            integer(c_int64_t) :: outcome
        end function ObsNextCut

        function ObsGetB3Card(obsKey, b3Card) bind(c, name="ObsGetB3Card") result(outcome)
            import
            integer(c_int64_t), value :: obsKey
            character(kind=c_char), intent(out) :: b3Card(512)
            integer(c_int32_t) :: outcome
        end function ObsGetB3Card

        function ObsFieldsToB3Card(secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, &
            elRate, azRate, rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, vel, &
            b3Card) bind(c, name="ObsFieldsToB3Card") result(outcome)
            import
            character(kind=c_char), value :: secClass
            integer(c_int32_t), value :: satNum
            integer(c_int32_t), value :: senNum
            real(c_double), value :: obsTime
            real(c_double), value :: elOrDec
            real(c_double), value :: azOrRa
            real(c_double), value :: range
            real(c_double), value :: rangeRate
            real(c_double), value :: elRate
            real(c_double), value :: azRate
            real(c_double), value :: rangeAccel
            character(kind=c_char), value :: obsType
            integer(c_int32_t), value :: indicator1
            integer(c_int32_t), value :: indicator2
            integer(c_int32_t), value :: altSatNum1
            integer(c_int32_t), value :: altSatNum2
            real(c_double), intent(in) :: pos(3)
            real(c_double), intent(in) :: vel(3)
            character(kind=c_char), intent(out) :: b3Card(512)
            integer(c_int32_t) :: outcome
        end function ObsFieldsToB3Card

        function ObsGetTTYCard(obsKey, card1, card2) bind(c, name="ObsGetTTYCard") result(outcome)
            import
            integer(c_int64_t), value :: obsKey
            character(kind=c_char), intent(out) :: card1(512)
            character(kind=c_char), intent(out) :: card2(512)
            integer(c_int32_t) :: outcome
        end function ObsGetTTYCard

        function ObsFieldsToTTYCard(secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, &
            elRate, azRate, rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, vel, &
            card1, card2) bind(c, name="ObsFieldsToTTYCard") result(outcome)
            import
            character(kind=c_char), value :: secClass
            integer(c_int32_t), value :: satNum
            integer(c_int32_t), value :: senNum
            real(c_double), value :: obsTime
            real(c_double), value :: elOrDec
            real(c_double), value :: azOrRa
            real(c_double), value :: range
            real(c_double), value :: rangeRate
            real(c_double), value :: elRate
            real(c_double), value :: azRate
            real(c_double), value :: rangeAccel
            character(kind=c_char), value :: obsType
            integer(c_int32_t), value :: indicator1
            integer(c_int32_t), value :: indicator2
            integer(c_int32_t), value :: altSatNum1
            integer(c_int32_t), value :: altSatNum2
            real(c_double), intent(in) :: pos(3)
            real(c_double), intent(in) :: vel(3)
            character(kind=c_char), intent(out) :: card1(512)
            character(kind=c_char), intent(out) :: card2(512)
            integer(c_int32_t) :: outcome
        end function ObsFieldsToTTYCard

        function ObsGetCsv(obsKey, csvLine) bind(c, name="ObsGetCsv") result(outcome)
            import
            integer(c_int64_t), value :: obsKey
            character(kind=c_char), intent(out) :: csvLine(512)
            integer(c_int32_t) :: outcome
        end function ObsGetCsv

        function ObsFieldsToCsv(secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, rangeRate, &
            elRate, azRate, rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, vel, &
            csvLine) bind(c, name="ObsFieldsToCsv") result(outcome)
            import
            character(kind=c_char), value :: secClass
            integer(c_int32_t), value :: satNum
            integer(c_int32_t), value :: senNum
            real(c_double), value :: obsTime
            real(c_double), value :: elOrDec
            real(c_double), value :: azOrRa
            real(c_double), value :: range
            real(c_double), value :: rangeRate
            real(c_double), value :: elRate
            real(c_double), value :: azRate
            real(c_double), value :: rangeAccel
            character(kind=c_char), value :: obsType
            integer(c_int32_t), value :: indicator1
            integer(c_int32_t), value :: indicator2
            integer(c_int32_t), value :: altSatNum1
            integer(c_int32_t), value :: altSatNum2
            real(c_double), intent(in) :: pos(3)
            real(c_double), intent(in) :: vel(3)
            character(kind=c_char), intent(out) :: csvLine(512)
            integer(c_int32_t) :: outcome
        end function ObsFieldsToCsv

        function ObsGetLines(obsKey, saveForm, line1, line2) bind(c, name="ObsGetLines") result(outcome)
            import
            integer(c_int64_t), value :: obsKey
            integer(c_int32_t), value :: saveForm
            character(kind=c_char), intent(out) :: line1(512)
            character(kind=c_char), intent(out) :: line2(512)
            integer(c_int32_t) :: outcome
        end function ObsGetLines

        function ObsGetCards(count, keys, saveForm, buffer, size, offsets, lengths, statuses) bind(c, &
            name="ObsGetCards") result(outcome)
            import
            integer(c_int32_t), value :: count
            integer(c_int64_t), intent(in) :: keys(*)
            integer(c_int32_t), value :: saveForm
            character(kind=c_char), intent(inout) :: buffer(*)
            integer(c_int64_t), value :: size
            integer(c_int64_t), intent(inout) :: offsets(*)
            integer(c_int32_t), intent(inout) :: lengths(*)
            integer(c_int32_t), intent(inout) :: statuses(*)
            integer(c_int32_t) :: outcome
        end function ObsGetCards

        function ObsGetAllFields(obsKey, secClass, satNum, senNum, obsTime, elOrDec, azOrRa, range, &
            rangeRate, elRate, azRate, rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, &
            vel, cleared) bind(c, name="ObsGetAllFields") result(outcome)
            import
            integer(c_int64_t), value :: obsKey
            character(kind=c_char), intent(out) :: secClass
            integer(c_int32_t), intent(out) :: satNum
            integer(c_int32_t), intent(out) :: senNum
            real(c_double), intent(out) :: obsTime
            real(c_double), intent(out) :: elOrDec
            real(c_double), intent(out) :: azOrRa
            real(c_double), intent(out) :: range
            real(c_double), intent(out) :: rangeRate
            real(c_double), intent(out) :: elRate
            real(c_double), intent(out) :: azRate
            real(c_double), intent(out) :: rangeAccel
            character(kind=c_char), intent(out) :: obsType
            integer(c_int32_t), intent(out) :: indicator1
            integer(c_int32_t), intent(out) :: indicator2
            integer(c_int32_t), intent(out) :: altSatNum1
            integer(c_int32_t), intent(out) :: altSatNum2
            real(c_double), intent(out) :: pos(3)
            real(c_double), intent(out) :: vel(3)
            real(c_double), intent(out) :: cleared(128)
            integer(c_int32_t) :: outcome
        end function ObsGetAllFields

        function ObsDataToArray(obsKey, obsArr) bind(c, name="ObsDataToArray") result(outcome)
            import
            integer(c_int64_t), value :: obsKey
            real(c_double), intent(out) :: obsArr(64)
            integer(c_int32_t) :: outcome
        end function ObsDataToArray

        function ObsDataToArrays(count, keys, obsArrs) bind(c, name="ObsDataToArrays") result(outcome)
            import
            integer(c_int32_t), value :: count
            integer(c_int64_t), intent(in) :: keys(*)
            real(c_double), intent(inout) :: obsArrs(*)
            integer(c_int32_t) :: outcome
        end function ObsDataToArrays

        function ObsArrToLines(obsArr, format, line1, line2) bind(c, name="ObsArrToLines") result(outcome)
            import
            real(c_double), intent(in) :: obsArr(64)
            integer(c_int32_t), value :: format
            character(kind=c_char), intent(out) :: line1(512)
            character(kind=c_char), intent(out) :: line2(512)
            integer(c_int32_t) :: outcome
        end function ObsArrToLines

        function ObsGetElementInfo(element, name, unit) bind(c, name="ObsGetElementInfo") result(outcome)
            import
            integer(c_int32_t), value :: element
            character(kind=c_char), intent(out) :: name(512)
            character(kind=c_char), intent(out) :: unit(512)
            integer(c_int32_t) :: outcome
        end function ObsGetElementInfo

        function ObsGetField(obsKey, fieldIndex, value) bind(c, name="ObsGetField") result(outcome)
            import
            integer(c_int64_t), value :: obsKey
            integer(c_int32_t), value :: fieldIndex
            character(kind=c_char), intent(out) :: value(512)
            integer(c_int32_t) :: outcome
        end function ObsGetField

        function ObsSetField(obsKey, fieldIndex, value) bind(c, name="ObsSetField") result(outcome)
            import
            integer(c_int64_t), value :: obsKey
            integer(c_int32_t), value :: fieldIndex
            character(kind=c_char), intent(in) :: value(512)
            integer(c_int32_t) :: outcome
        end function ObsSetField

        function ObsUpdateFrFields(obsKey, secClass, elOrDec, azOrRa, range, rangeRate, elRate, azRate, &
            rangeAccel, obsType, indicator1, indicator2, altSatNum1, altSatNum2, pos, vel) bind(c, &
            name="ObsUpdateFrFields") result(outcome)
            import
            integer(c_int64_t), value :: obsKey
            character(kind=c_char), value :: secClass
            real(c_double), value :: elOrDec
            real(c_double), value :: azOrRa
            real(c_double), value :: range
            real(c_double), value :: rangeRate
            real(c_double), value :: elRate
            real(c_double), value :: azRate
            real(c_double), value :: rangeAccel
            character(kind=c_char), value :: obsType
            integer(c_int32_t), value :: indicator1
            integer(c_int32_t), value :: indicator2
            integer(c_int32_t), value :: altSatNum1
            integer(c_int32_t), value :: altSatNum2
            real(c_double), intent(in) :: pos(3)
            real(c_double), intent(in) :: vel(3)
            integer(c_int32_t) :: outcome
        end function ObsUpdateFrFields

        function ObsGetFieldReals(count, keys, fieldIndex, values) bind(c, name="ObsGetFieldReals") &
            result(outcome)
            import
            integer(c_int32_t), value :: count
            integer(c_int64_t), intent(in) :: keys(*)
            integer(c_int32_t), value :: fieldIndex
            real(c_double), intent(inout) :: values(*)
            integer(c_int32_t) :: outcome
        end function ObsGetFieldReals

        function ObsGetFieldInfo(fieldIndex, name, unit, form) bind(c, name="ObsGetFieldInfo") &
            result(outcome)
            import
            integer(c_int32_t), value :: fieldIndex
            character(kind=c_char), intent(out) :: name(512)
            character(kind=c_char), intent(out) :: unit(512)
            character(kind=c_char), intent(out) :: form(512)
            integer(c_int32_t) :: outcome
        end function ObsGetFieldInfo

        function ObsGetColumnInfo(column, name, unit, facts) bind(c, name="ObsGetColumnInfo") &
            result(outcome)
            import
            integer(c_int32_t), value :: column
            character(kind=c_char), intent(out) :: name(512)
            character(kind=c_char), intent(out) :: unit(512)
            integer(c_int32_t), intent(out) :: facts(4)
            integer(c_int32_t) :: outcome
        end function ObsGetColumnInfo

        function ObsGetColumnReals(count, keys, column, values) bind(c, name="ObsGetColumnReals") &
            result(outcome)
            import
            integer(c_int32_t), value :: count
            integer(c_int64_t), intent(in) :: keys(*)
            integer(c_int32_t), value :: column
            real(c_double), intent(inout) :: values(*)
            integer(c_int32_t) :: outcome
        end function ObsGetColumnReals

        function ObsGetTypeInfo(obsType, typeChar, name, carried) bind(c, name="ObsGetTypeInfo") &
            result(outcome)
            import
            integer(c_int32_t), value :: obsType
            character(kind=c_char), intent(out) :: typeChar
            character(kind=c_char), intent(out) :: name(512)
            integer(c_int32_t), intent(out) :: carried(64)
            integer(c_int32_t) :: outcome
        end function ObsGetTypeInfo

        function ObsDataToStates(obsArr, states) bind(c, name="ObsDataToStates") result(outcome)
            import
            real(c_double), intent(in) :: obsArr(64)
            real(c_double), intent(out) :: states(64)
            integer(c_int32_t) :: outcome
        end function ObsDataToStates

        function ObsGetStates(obsKey, states, time) bind(c, name="ObsGetStates") result(outcome)
            import
            integer(c_int64_t), value :: obsKey
            real(c_double), intent(out) :: states(64)
            real(c_double), value :: time
            integer(c_int32_t) :: outcome
        end function ObsGetStates

        function ObsGetStatesMany(count, keys, time, states, statuses) bind(c, name="ObsGetStatesMany") &
            result(outcome)
            import
            integer(c_int32_t), value :: count
            integer(c_int64_t), intent(in) :: keys(*)
            real(c_double), value :: time
            real(c_double), intent(inout) :: states(*)
            integer(c_int32_t), intent(inout) :: statuses(*)
            integer(c_int32_t) :: outcome
        end function ObsGetStatesMany

        function ObsB3ToCsv(b3Card, csvLine) bind(c, name="ObsB3ToCsv") result(outcome)
            import
            character(kind=c_char), intent(in) :: b3Card(512)
            character(kind=c_char), intent(out) :: csvLine(512)
            integer(c_int32_t) :: outcome
        end function ObsB3ToCsv

        function ObsCsvToB3(csvLine, newSatNum, b3Card) bind(c, name="ObsCsvToB3") result(outcome)
            import
            character(kind=c_char), intent(in) :: csvLine(512)
            integer(c_int32_t), value :: newSatNum
            character(kind=c_char), intent(out) :: b3Card(512)
            integer(c_int32_t) :: outcome
        end function ObsCsvToB3

        function ObsCsvToTTY(csvLine, newSatNum, card1, card2) bind(c, name="ObsCsvToTTY") result(outcome)
            import
            character(kind=c_char), intent(in) :: csvLine(512)
            integer(c_int32_t), value :: newSatNum
            character(kind=c_char), intent(out) :: card1(512)
            character(kind=c_char), intent(out) :: card2(512)
            integer(c_int32_t) :: outcome
        end function ObsCsvToTTY

        function ObsTTYToCsv(card1, card2, csvLine) bind(c, name="ObsTTYToCsv") result(outcome)
            import
            character(kind=c_char), intent(in) :: card1(512)
            character(kind=c_char), intent(in) :: card2(512)
            character(kind=c_char), intent(out) :: csvLine(512)
            integer(c_int32_t) :: outcome
        end function ObsTTYToCsv

        function ObsTypeCToI(obsTypeChar) bind(c, name="ObsTypeCToI") result(outcome)
            import
            character(kind=c_char), value :: obsTypeChar
            integer(c_int32_t) :: outcome
        end function ObsTypeCToI

        function ObsTypeIToC(obsType) bind(c, name="ObsTypeIToC") result(outcome)
            import
            integer(c_int32_t), value :: obsType
            character(kind=c_char) :: outcome
        end function ObsTypeIToC

        function ObsGetCount() bind(c, name="ObsGetCount") result(outcome)
            import
            integer(c_int32_t) :: outcome
        end function ObsGetCount

        subroutine ObsGetLoaded(order, keys) bind(c, name="ObsGetLoaded")
            import
            integer(c_int32_t), value :: order
            integer(c_int64_t), intent(inout) :: keys(*)
        end subroutine ObsGetLoaded

        function ObsGetCountGID(gid) bind(c, name="ObsGetCountGID") result(outcome)
            import
            integer(c_int32_t), value :: gid
            integer(c_int32_t) :: outcome
        end function ObsGetCountGID

        subroutine ObsGetLoadedGID(gid, order, keys) bind(c, name="ObsGetLoadedGID")
            import
            integer(c_int32_t), value :: gid
            integer(c_int32_t), value :: order
            integer(c_int64_t), intent(inout) :: keys(*)
        end subroutine ObsGetLoadedGID

        function ObsListKeys(order, useGid, gid, room, keys, count) bind(c, name="ObsListKeys") &
            result(outcome)
            import
            integer(c_int32_t), value :: order
            integer(c_int32_t), value :: useGid
            integer(c_int32_t), value :: gid
            integer(c_int32_t), value :: room
            integer(c_int64_t), intent(inout) :: keys(*)
            integer(c_int32_t), intent(out) :: count
            integer(c_int32_t) :: outcome
        end function ObsListKeys

        function ObsRemoveGID(gid) bind(c, name="ObsRemoveGID") result(outcome)
            import
            integer(c_int32_t), value :: gid
            integer(c_int32_t) :: outcome
        end function ObsRemoveGID

        function ObsRemove(obsKey) bind(c, name="ObsRemove") result(outcome)
            import
            integer(c_int64_t), value :: obsKey
            integer(c_int32_t) :: outcome
        end function ObsRemove

        function ObsRemoveKeys(count, keys) bind(c, name="ObsRemoveKeys") result(outcome)
            import
            integer(c_int32_t), value :: count
            integer(c_int64_t), intent(in) :: keys(*)
            integer(c_int32_t) :: outcome
        end function ObsRemoveKeys

        function ObsRemoveAll() bind(c, name="ObsRemoveAll") result(outcome)
            import
            integer(c_int32_t) :: outcome
        end function ObsRemoveAll

        subroutine ObsGetSelected(criteria, order, count, keys) bind(c, name="ObsGetSelected")
            import
            real(c_double), intent(in) :: criteria(32)
            integer(c_int32_t), value :: order
            integer(c_int32_t), intent(out) :: count
            integer(c_int64_t), intent(inout) :: keys(*)
        end subroutine ObsGetSelected

        subroutine ObsResetSelObs() bind(c, name="ObsResetSelObs")
            import
        end subroutine ObsResetSelObs

        function ObsSetSelObs(criteria) bind(c, name="ObsSetSelObs") result(outcome)
            import
            character(kind=c_char), intent(in) :: criteria(512)
            integer(c_int32_t) :: outcome
        end function ObsSetSelObs

        subroutine ObsGetSelectedByText(criteria, order, count, keys) bind(c, name="ObsGetSelectedByText")
            import
            character(kind=c_char), intent(in) :: criteria(512)
            integer(c_int32_t), value :: order
            integer(c_int32_t), intent(out) :: count
            integer(c_int64_t), intent(inout) :: keys(*)
        end subroutine ObsGetSelectedByText

        function ObsGetTermCounts(criteria, room, selected, terms, firstColumns, lastColumns, drops) bind(c, &
            name="ObsGetTermCounts") result(outcome)
            import
            character(kind=c_char), intent(in) :: criteria(512)
            integer(c_int32_t), value :: room
            integer(c_int32_t), intent(out) :: selected
            integer(c_int32_t), intent(out) :: terms
            integer(c_int32_t), intent(inout) :: firstColumns(*)
            integer(c_int32_t), intent(inout) :: lastColumns(*)
            integer(c_int32_t), intent(inout) :: drops(*)
            integer(c_int32_t) :: outcome
        end function ObsGetTermCounts

        function ObsSelectRows(criteria, stream, room, mask, rows) bind(c, name="ObsSelectRows") &
            result(outcome)
            import
            character(kind=c_char), intent(in) :: criteria(512)
            type(c_ptr), value :: stream
            integer(c_int64_t), value :: room
            integer(c_int8_t), intent(inout) :: mask(*)
            integer(c_int64_t), intent(out) :: rows
            integer(c_int32_t) :: outcome
        end function ObsSelectRows

        function ObsGetSelectionColumns(criteria, columns) bind(c, name="ObsGetSelectionColumns") &
            result(outcome)
            import
            character(kind=c_char), intent(in) :: criteria(512)
            character(kind=c_char), intent(out) :: columns(512)
            integer(c_int32_t) :: outcome
        end function ObsGetSelectionColumns

        function ObsMayMeet(criteria, reals, texts) bind(c, name="ObsMayMeet") result(outcome)
            import
            character(kind=c_char), intent(in) :: criteria(512)
            real(c_double), intent(in) :: reals(OBS_KNOWN_REALS)
            type(c_ptr), intent(in) :: texts(*)
            integer(c_int32_t) :: outcome
        end function ObsMayMeet

        function ObsGetSelectionCounts(criteria, selected, dropped) bind(c, name="ObsGetSelectionCounts") &
            result(outcome)
            import
            real(c_double), intent(in) :: criteria(32)
            integer(c_int32_t), intent(out) :: selected
            integer(c_int32_t), intent(out) :: dropped(OBS_CRITERIA)
            integer(c_int32_t) :: outcome
        end function ObsGetSelectionCounts

        function ObsGetPasses(count, keys, room, passes, passCount) bind(c, name="ObsGetPasses") &
            result(outcome)
            import
            integer(c_int32_t), value :: count
            integer(c_int64_t), intent(in) :: keys(*)
            integer(c_int32_t), value :: room
            type(ObsPass), intent(inout) :: passes(*)
            integer(c_int32_t), intent(out) :: passCount
            integer(c_int32_t) :: outcome
        end function ObsGetPasses

        function ObsExportArrow(count, keys, order, columns, columnCount, batchRows, stream) bind(c, &
            name="ObsExportArrow") result(outcome)
            import
            integer(c_int32_t), value :: count
            integer(c_int64_t), intent(in) :: keys(*)
            integer(c_int32_t), value :: order
            type(c_ptr), intent(in) :: columns(*)
            integer(c_int32_t), value :: columnCount
            integer(c_int32_t), value :: batchRows
            type(c_ptr), value :: stream
            integer(c_int32_t) :: outcome
        end function ObsExportArrow

        function ObsImportArrow(stream, naiveIsUtc, gid, counts, room, keys) bind(c, name="ObsImportArrow") &
            result(outcome)
            import
            type(c_ptr), value :: stream
            integer(c_int32_t), value :: naiveIsUtc
            integer(c_int32_t), value :: gid
            integer(c_int64_t), intent(out) :: counts(OBS_ARROW_COUNTS)
            integer(c_int64_t), value :: room
            integer(c_int64_t), intent(inout) :: keys(*)
            integer(c_int32_t) :: outcome
        end function ObsImportArrow

        function ObsReadArrow(bytes, length, state, fileName, columns, columnCount, batchRows, report, user, &
            stream) bind(c, name="ObsReadArrow") result(outcome)
            import
            character(kind=c_char), intent(in) :: bytes(*)
            integer(c_int64_t), value :: length
            type(ObsReadState), intent(inout) :: state
            character(kind=c_char), intent(in) :: fileName(512)
            type(c_ptr), intent(in) :: columns(*)
            integer(c_int32_t), value :: columnCount
            integer(c_int32_t), value :: batchRows
            type(c_funptr), value :: report
            type(c_ptr), value :: user
            type(c_ptr), value :: stream
            integer(c_int32_t) :: outcome
        end function ObsReadArrow

        function ObsSaveFile(fileName, saveMode, saveForm) bind(c, name="ObsSaveFile") result(outcome)
            import
            character(kind=c_char), intent(in) :: fileName(512)
            integer(c_int32_t), value :: saveMode
            integer(c_int32_t), value :: saveForm
            integer(c_int32_t) :: outcome
        end function ObsSaveFile

        function ObsSaveFileGID(fileName, gid, saveMode, saveForm) bind(c, name="ObsSaveFileGID") &
            result(outcome)
            import
            character(kind=c_char), intent(in) :: fileName(512)
            integer(c_int32_t), value :: gid
            integer(c_int32_t), value :: saveMode
            integer(c_int32_t), value :: saveForm
            integer(c_int32_t) :: outcome
        end function ObsSaveFileGID

        function ObsSaveSlrFile(fileName, saveMode, dataType) bind(c, name="ObsSaveSlrFile") result(outcome)
            import
            character(kind=c_char), intent(in) :: fileName(512)
            integer(c_int32_t), value :: saveMode
            integer(c_int32_t), value :: dataType
            integer(c_int32_t) :: outcome
        end function ObsSaveSlrFile

        function ObsSaveSlrFileGID(fileName, gid, saveMode, dataType) bind(c, name="ObsSaveSlrFileGID") &
            result(outcome)
            import
            character(kind=c_char), intent(in) :: fileName(512)
            integer(c_int32_t), value :: gid
            integer(c_int32_t), value :: saveMode
            integer(c_int32_t), value :: dataType
            integer(c_int32_t) :: outcome
        end function ObsSaveSlrFileGID

        function ObsGetSaveCounts(written, leftOut, altered, systemError) bind(c, name="ObsGetSaveCounts") &
            result(outcome)
            import
            integer(c_int64_t), intent(out) :: written
            integer(c_int64_t), intent(out) :: leftOut
            integer(c_int64_t), intent(out) :: altered
            integer(c_int32_t), intent(out) :: systemError
            integer(c_int32_t) :: outcome
        end function ObsGetSaveCounts

        function ObsGetSaveCountOf(kind) bind(c, name="ObsGetSaveCountOf") result(outcome)
            import
            integer(c_int32_t), value :: kind
            integer(c_int64_t) :: outcome
        end function ObsGetSaveCountOf

        subroutine ObsSetSaveCallback(report, user) bind(c, name="ObsSetSaveCallback")
            import
            type(c_funptr), value :: report
            type(c_ptr), value :: user
        end subroutine ObsSetSaveCallback

        function ObsGetFormatCount() bind(c, name="ObsGetFormatCount") result(outcome)
            import
            integer(c_int32_t) :: outcome
        end function ObsGetFormatCount

        function ObsGetFormatInfo(format, name, description, facts) bind(c, name="ObsGetFormatInfo") &
            result(outcome)
            import
            integer(c_int32_t), value :: format
            character(kind=c_char), intent(out) :: name(512)
            character(kind=c_char), intent(out) :: description(512)
            integer(c_int32_t), intent(out) :: facts(16)
            integer(c_int32_t) :: outcome
        end function ObsGetFormatInfo

        function ObsGetFormatPrecision(format, obsType, units, digits) bind(c, name="ObsGetFormatPrecision") &
            result(outcome)
            import
            integer(c_int32_t), value :: format
            integer(c_int32_t), value :: obsType
            real(c_double), intent(out) :: units(64)
            integer(c_int32_t), intent(out) :: digits(64)
            integer(c_int32_t) :: outcome
        end function ObsGetFormatPrecision

        function FamilyGetLastError(text) bind(c, name="FamilyGetLastError") result(outcome)
            import
            character(kind=c_char), intent(out) :: text(512)
            integer(c_int32_t) :: outcome
        end function FamilyGetLastError

        subroutine FamilyClearLastError() bind(c, name="FamilyClearLastError")
            import
        end subroutine FamilyClearLastError

        function FamilyOpenLog(fileName) bind(c, name="FamilyOpenLog") result(outcome)
            import
            character(kind=c_char), intent(in) :: fileName(512)
            integer(c_int32_t) :: outcome
        end function FamilyOpenLog

        subroutine FamilyCloseLog() bind(c, name="FamilyCloseLog")
            import
        end subroutine FamilyCloseLog

        subroutine FamilySetLogCallback(f, user) bind(c, name="FamilySetLogCallback")
            import
            type(c_funptr), value :: f
            type(c_ptr), value :: user
        end subroutine FamilySetLogCallback

        subroutine FamilyGiveUpFiles() bind(c, name="FamilyGiveUpFiles")
            import
        end subroutine FamilyGiveUpFiles

        function FamilySetAllKeyMode(useAll, mode) bind(c, name="FamilySetAllKeyMode") result(outcome)
            import
            integer(c_int32_t), value :: useAll
            integer(c_int32_t), value :: mode
            integer(c_int32_t) :: outcome
        end function FamilySetAllKeyMode

        function FamilySetDupKeyMode(mode) bind(c, name="FamilySetDupKeyMode") result(outcome)
            import
            integer(c_int32_t), value :: mode
            integer(c_int32_t) :: outcome
        end function FamilySetDupKeyMode

        function FamilyLoadSensors(fileName) bind(c, name="FamilyLoadSensors") result(outcome)
            import
            character(kind=c_char), intent(in) :: fileName(512)
            integer(c_int32_t) :: outcome
        end function FamilyLoadSensors

        function FamilyAddSensor(number, description, latitudeDeg, longitudeDeg, heightM) bind(c, &
            name="FamilyAddSensor") result(outcome)
            import
            integer(c_int32_t), value :: number
            character(kind=c_char), intent(in) :: description(512)
            real(c_double), value :: latitudeDeg
            real(c_double), value :: longitudeDeg
            real(c_double), value :: heightM
            integer(c_int32_t) :: outcome
        end function FamilyAddSensor

        function FamilyGetSensor(number, description, latitudeDeg, longitudeDeg, heightM) bind(c, &
            name="FamilyGetSensor") result(outcome)
            import
            integer(c_int32_t), value :: number
            character(kind=c_char), intent(out) :: description(512)
            real(c_double), intent(out) :: latitudeDeg
            real(c_double), intent(out) :: longitudeDeg
            real(c_double), intent(out) :: heightM
            integer(c_int32_t) :: outcome
        end function FamilyGetSensor

        function FamilyListSensors(room, numbers, count) bind(c, name="FamilyListSensors") result(outcome)
            import
            integer(c_int32_t), value :: room
            integer(c_int32_t), intent(inout) :: numbers(*)
            integer(c_int32_t), intent(out) :: count
            integer(c_int32_t) :: outcome
        end function FamilyListSensors

        subroutine FamilyRemoveSensors() bind(c, name="FamilyRemoveSensors")
            import
        end subroutine FamilyRemoveSensors

        function FamilySetEarthOrientation(dut1_s, xp_arcsec, yp_arcsec, lod_s) bind(c, &
            name="FamilySetEarthOrientation") result(outcome)
            import
            real(c_double), value :: dut1_s
            real(c_double), value :: xp_arcsec
            real(c_double), value :: yp_arcsec
            real(c_double), value :: lod_s
            integer(c_int32_t) :: outcome
        end function FamilySetEarthOrientation

        function FamilyLoadEarthOrientation(fileName) bind(c, name="FamilyLoadEarthOrientation") &
            result(outcome)
            import
            character(kind=c_char), intent(in) :: fileName(512)
            integer(c_int32_t) :: outcome
        end function FamilyLoadEarthOrientation
    end interface
end module obs_interface
