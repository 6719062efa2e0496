-- The configuration database that vorahost makes when none exists: every
-- table the scanner software keeps, every key libApplicationTools reads, and
-- a few dozen ordinary scanner settings around them. Comments that contain
-- "实时设置" mark settings the scanning module applies live.
BEGIN;

CREATE TABLE config (key TEXT PRIMARY KEY NOT NULL, value, comment TEXT NOT NULL DEFAULT '');
CREATE TABLE ui (key TEXT PRIMARY KEY NOT NULL, value, comment TEXT NOT NULL DEFAULT '');
CREATE TABLE calibration (key TEXT PRIMARY KEY NOT NULL, value, comment TEXT NOT NULL DEFAULT '');
CREATE TABLE scan (key TEXT PRIMARY KEY NOT NULL, value, comment TEXT NOT NULL DEFAULT '');
CREATE TABLE project (key TEXT PRIMARY KEY NOT NULL, value, comment TEXT NOT NULL DEFAULT '');
CREATE TABLE alg (key TEXT PRIMARY KEY NOT NULL, value, comment TEXT NOT NULL DEFAULT '');
CREATE TABLE postprocess (key TEXT PRIMARY KEY NOT NULL, value, comment TEXT NOT NULL DEFAULT '');
CREATE TABLE navigation (key TEXT PRIMARY KEY NOT NULL, value, comment TEXT NOT NULL DEFAULT '');
CREATE TABLE deviceadjust (key TEXT PRIMARY KEY NOT NULL, value, comment TEXT NOT NULL DEFAULT '');
CREATE TABLE clouddisk (key TEXT PRIMARY KEY NOT NULL, value, comment TEXT NOT NULL DEFAULT '');

INSERT INTO config (key, value, comment) VALUES
  ('developerModeEnabled', 'false', '开发者模式: 启动时是否进入'),
  ('watermarkEnabled', 'true', '导出图片加水印'),
  ('language', 'zh_CN', '界面语言'),
  ('autoUpdateCheck', 'true', '启动时检查更新'),
  ('logLevel', 2, '日志级别 0-4');

INSERT INTO ui (key, value, comment) VALUES
  ('cameraVideo.E7.needRightCamera', 'false', '显示右相机窗口'),
  ('cameraVideo.frameRate', 15, '相机预览帧率'),
  ('mainWindow.theme', 'dark', '界面主题'),
  ('mainWindow.showFps', 'false', '显示帧率');

INSERT INTO calibration (key, value, comment) VALUES
  ('calibSavePic', 'false', '标定时保存图片'),
  ('readPicMod', 'false', '标定时从文件读取图片'),
  ('calibBoardType', 'A3', '标定板型号'),
  ('calibMaxError', 0.05, '标定最大允许误差 (mm)');

INSERT INTO scan (key, value, comment) VALUES
  ('IRSpeckle.If_Save_Pic', 0, '扫描时保存图片'),
  ('IRSpeckle.If_Save_GrayPic', 0, '扫描时保存灰度图'),
  ('IRSpeckle.If_Save_ColorPic', 0, '扫描时保存彩色图'),
  ('IRSpeckle.If_Read_Pic', 0, '扫描时从文件读取图片'),
  ('IRSpeckle.pseudo_color_section_1', 10, '伪彩色分段 1 (mm)'),
  ('IRSpeckle.pseudo_color_section_2', 20, '伪彩色分段 2 (mm)'),
  ('IRSpeckle.pseudo_color_section_3', 30, '伪彩色分段 3 (mm)'),
  ('IRSpeckle.pseudo_color_section_4', 40, '伪彩色分段 4 (mm)'),
  ('IRSpeckle.pseudo_color_section_5', 50, '伪彩色分段 5 (mm)'),
  ('IRSpeckle.pseudo_color_section_6', 60, '伪彩色分段 6 (mm)'),
  ('IRSpeckle.pseudo_color_bound_1', '0,0,255', '伪彩色边界 1 (R,G,B)'),
  ('IRSpeckle.pseudo_color_bound_2', '0,255,255', '伪彩色边界 2 (R,G,B)'),
  ('IRSpeckle.pseudo_color_bound_3', '0,255,0', '伪彩色边界 3 (R,G,B)'),
  ('IRSpeckle.pseudo_color_bound_4', '255,255,0', '伪彩色边界 4 (R,G,B)'),
  ('IRSpeckle.pseudo_color_bound_5', '255,128,0', '伪彩色边界 5 (R,G,B)'),
  ('IRSpeckle.pseudo_color_bound_6', '255,0,0', '伪彩色边界 6 (R,G,B)'),
  ('rollbackFrame', 5, '回退帧数'),
  ('IRSpeckle.exposure', 8000, '红外曝光时间 (us), 实时设置'),
  ('IRSpeckle.gain', 1.5, '红外增益, 实时设置'),
  ('IRSpeckle.pointDistance', 0.2, '点距 (mm)'),
  ('laser.exposure', 1200, '激光曝光时间 (us), 实时设置'),
  ('laser.brightness', 80, '激光亮度 (%), 实时设置'),
  ('scanDistance.min', 150, '最近扫描距离 (mm)'),
  ('scanDistance.max', 450, '最远扫描距离 (mm)'),
  ('trackingLostBeep', 'true', '跟踪丢失时提示音');

INSERT INTO project (key, value, comment) VALUES
  ('defaultProjectDir', '~/VoraProjects', '工程默认目录'),
  ('autoSaveInterval', 300, '自动保存间隔 (s)'),
  ('keepBackups', 3, '保留备份数');

INSERT INTO alg (key, value, comment) VALUES
  ('meshResolution', 0.5, '网格分辨率 (mm)'),
  ('smoothLevel', 2, '平滑等级'),
  ('holeFillMaxEdges', 200, '自动补洞最大边数'),
  ('markerDetectThreshold', 0.6, '标志点识别阈值, 实时设置');

INSERT INTO postprocess (key, value, comment) VALUES
  ('simplifyRatio', 0.5, '简化比例'),
  ('removeIsolated', 'true', '去除孤立块'),
  ('isolatedMinPoints', 500, '孤立块最少点数');

INSERT INTO navigation (key, value, comment) VALUES
  ('distanceIndicator', 'true', '显示距离指示'),
  ('indicatorStyle', 'bar', '距离指示样式, 实时设置');

INSERT INTO deviceadjust (key, value, comment) VALUES
  ('fanSpeed', 60, '风扇转速 (%), 实时设置'),
  ('temperatureLimit', 65, '温度上限 (°C)'),
  ('ledBrightness', 50, '指示灯亮度 (%)');

INSERT INTO clouddisk (key, value, comment) VALUES
  ('server', 'https://cloud.example.invalid', '云盘服务器'),
  ('autoUpload', 'false', '扫描完成后自动上传'),
  ('uploadChunkSize', 4194304, '上传分块大小 (byte)');

COMMIT;
